// What the customisation says of Internet mail.

#include "inet.h"

#include "cust.h"

int inet_AutoIamOn(void) {
    return cust_PresentAndTrue("INET_AUTO_IAM");
}
