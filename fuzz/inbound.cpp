// Internet addresses into O/R names, with the example home's rules, map, nodes and customisation.

#include <cstring>

#include "akt.h"
#include "ccs.h"
#include "fuzz.h"
#include "mim.h"

namespace {

struct InboundName {
    InboundName(const std::string &address, unsigned char flags) {
        is_made = fuzz::succeeds([&] { mim_ArpaToORN2(fuzz::Copy{address}, orn.get(), &index, flags); });
    }
    [[nodiscard]] std::string field(int number) const {
        int length = 0;
        const char *bytes = nm_GetFieldMemPtr(orn.get(), &index, number, &length);
        return {bytes != nullptr ? bytes : "", static_cast<std::size_t>(length)};
    }
    [[nodiscard]] std::string text() const { return is_made ? orn.get() : "failed"; }

    bool is_made = false;
    std::unique_ptr<char[]> orn{new char[NM_ORN_SIZE]};
    nm_index index{};
};

void check_fields(const InboundName &name, const std::string &address, unsigned char flags) {
    fuzz::expect(akt_CheckORName(name.orn.get()) != 0 || ccs_Is7BitAscii(address.c_str(), -1) == 0,
                 "the name is well formed", name.text());
    std::string received = address;
    std::replace(received.begin(), received.end(), '\x17', ' ');
    std::replace(received.begin(), received.end(), '\x1D', ' ');
    fuzz::expect_equal(name.field(NM_DDA1_VALUE), received, "the address travels as it was received");
    std::string surname = fuzz::written(
        MIM_SURNAME_SIZE, [&](char *out) { mim_GetSurnameFromArpaORN(fuzz::Copy{address}, out); });
    mim_SpaceTrimming(surname.data());
    surname.resize(std::strlen(surname.c_str()));
    fuzz::expect_equal(name.field(NM_SURNAME), surname, "the surname is what the rules make");
    fuzz::expect_equal(name.field(NM_COMMON_NAME), (flags & MIM_FLAG_COMMON_NAME) != 0 ? surname : "",
                       "the common name is the surname");
    for (int field = 0; field < NM_FIELD_COUNT; ++field) {
        fuzz::expect(field == NM_DDA1_VALUE || name.field(field).find_first_of("\r\n") == std::string::npos,
                     "no line end comes into another field", name.field(field));
    }
}

void check_older_entry(const InboundName &name, const std::string &address, unsigned char flags,
                       int node_type) {
    const std::unique_ptr<char[]> orn{new char[NM_ORN_SIZE]};
    nm_index index;
    mim_ArpaToORN(fuzz::Copy{address}, orn.get(), &index, flags & MIM_FLAG_TNEF);
    if ((flags & MIM_FLAG_COMMON_NAME) == 0) {
        fuzz::expect_equal(orn.get(), name.text(), "the older entry gives the same");
    }
    mim_SetOrgUAddress(orn.get(), &index, node_type);
    nm_index again;
    nm_ParseORN(orn.get(), &again, nullptr);
    fuzz::expect(std::equal(std::begin(again.present), std::end(again.present), index.present),
                 "a name's index is kept in step");
}

}  // namespace

FUZZ_TARGET(inbound) {
    fuzz::use_example_home_once();
    static const std::string first = InboundName{"Ada King <ada@sales.example.org>", 0}.text();
    const auto flags = static_cast<unsigned char>(in.below(4));
    const std::string address = in.text();
    const InboundName name{address, flags};
    fuzz::expect(name.is_made || address.size() > NM_ORN_SIZE / 2, "only a long address fails", address);
    switch (name.is_made ? in.below(4) : 2) {
        case 0:
            check_fields(name, address, flags);
            break;
        case 1:
            check_older_entry(name, address, flags, static_cast<int>(in.below(9)));
            break;
        case 2:
            InboundName{in.text(), static_cast<unsigned char>(flags ^ 1)};
            fuzz::expect_equal(InboundName(address, flags).text(), name.text(),
                               "a name is the same after others");
            break;
        default:
            fuzz::expect_equal(InboundName("Ada King <ada@sales.example.org>", 0).text(), first,
                               "a name is that of a fresh process");
    }
}
