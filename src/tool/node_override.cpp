// Reads a setting as the library does.

#include "node_override.h"

#include <array>
#include <cstdint>
#include <memory>

#include "akt.h"
#include "ccs.h"
#include "cl.h"
#include "cvc.h"
#include "os.h"
#include "session.h"

namespace tool {

namespace {

constexpr const char *kFamily = "T61INTL";

}  // namespace

bool read_override(const std::string &text, const std::string &charset, OrName &node) {
    const ccs_charset *resolved = ccs_GetICCharset2(charset.c_str(), kFamily);
    if (resolved == nullptr) {
        return false;
    }
    const char *internal = ccs_GetInternalCharset(resolved, CCS_INTERNAL);
    ccs_descriptor descriptor{};
    ccs_GetCSDescriptor(internal, &descriptor);
    char *converted = nullptr;
    std::int32_t length = 0;
    int set = 0;
    int number = 0;
    int extra = 0;
    cvc_ConvertString(CVC_TEXT, 0, text.c_str(), -1, charset.c_str(), internal, &converted, &length, &set,
                      &number, &extra);
    const std::unique_ptr<char, decltype(&os_free)> released{converted, os_free};
    if (converted == nullptr) {
        return false;
    }
    bool is_name = false;
    const int failed = protect([&] {
        cl_ConvClMntoORN(converted, node.text.data(), 1, 1, &descriptor);
        std::array<std::uint32_t, NM_MAP_WORDS> fields{};
        nm_ParseORN(node.text.data(), &node.index, fields.data());
        is_name = akt_CheckORName(node.text.data()) != 0 && akt_CheckFieldsPresent(fields.data()) != 0;
    });
    if (failed != 0) {
        static_cast<void>(take_failure());
    }
    return failed == 0 && is_name;
}

}  // namespace tool
