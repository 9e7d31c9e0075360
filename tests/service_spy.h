// The services as the library meets them, seen and disturbed by a test: this program defines the services'
// functions itself, and each passes the call on to libkv after it has been recorded or made to fail.
#ifndef TESTS_SERVICE_SPY_H
#define TESTS_SERVICE_SPY_H

#include <string>
#include <vector>

namespace spy {

enum class Fault {
    kRecoverable,
    kPersistent,
    kAllocation,  // memory is exhausted once, wherever the services ask for it
    kAllocations  // and from then on
};

// The failure that is put in.
inline constexpr int kFaultSet = 77;
inline constexpr int kFaultNumber = 7777;

// The failure that tells that memory is exhausted.
inline constexpr int kMemorySet = 100;
inline constexpr int kMemoryNumber = 901;

// Makes the `nth` service call, or allocation, from now on (from 1) fail; a call that releases something does
// so first.
void fail_call(int nth, Fault fault);

// Ends that, and returns the name of the call that failed, empty when fewer were made.
std::string end_fault();

// While it lives, the test's own code runs within a service call, and its memory is not exhausted.
class OwnMemory {
  public:
    OwnMemory();
    OwnMemory(const OwnMemory &) = delete;
    OwnMemory &operator=(const OwnMemory &) = delete;
    ~OwnMemory();
};

// Records the calls of the error service (names without er_) until `calls` goes out of use; null ends it.
void record_error_calls(std::vector<std::string> *calls);

}  // namespace spy

#endif
