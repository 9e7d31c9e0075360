// The server's mail nodes: ~/sys/mailnodes, read at the first use in a home, and names given in text form.

#include "cl.h"

#include <array>
#include <map>
#include <string>
#include <string_view>

#include "ccs_table.h"
#include "cvc.h"
#include "heap_text.h"
#include "nm_internal.h"
#include "orn_file.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

constexpr const char *kNodesFile = "~/sys/mailnodes";

struct NodeTable {
    std::map<int, std::string> names;

    static NodeTable load();
};

NodeTable NodeTable::load() {
    NodeTable table;
    kv::for_each_orn_line(kNodesFile, [&table](const kv::OrnLine &line) -> const char * {
        int type = 0;
        if (!kv::parse_number(line.word, type)) {
            return "it does not begin with the number of a node type";
        }
        const std::string_view name = line.orn;
        if (name.empty() || name.size() >= CL_NODE_SIZE) {
            return name.empty() ? "its O/R name is empty" : "its O/R name is longer than 1023 bytes";
        }
        table.names.emplace(type, name);
        return nullptr;
    });
    return table;
}

kv::PerHome<NodeTable> nodes;

std::string to_t61(std::string_view value, const char *charset) {
    char *converted = nullptr;
    std::int32_t length = 0;
    int set = 0;
    int number = 0;
    int extra = 0;
    const int status =
        cvc_ConvertString(CVC_TEXT, 0, value.data(), static_cast<std::int32_t>(value.size()), charset,
                          kv::kInternalCharset, &converted, &length, &set, &number, &extra);
    const kv::HeapText owner{converted};
    if (status == CVC_FAILED) {
        er_TracedEscape(set, number, "cl", __LINE__);
    }
    return {converted, static_cast<std::size_t>(length)};
}

// Moves an 8-bit value to the T.61 form of its field.
void make_t61(char *orn, nm_index &index, int field, const char *charset) {
    const bool is_t61_form = kv::is_t61_form(field);
    const int t61_field = is_t61_form ? field : nm_GetCorrT61FNum(field);
    if (t61_field < 0) {
        er_TracedEscape(MES_SET_SERVER, kv::kNoT61Form, "cl", __LINE__);
    }
    const std::string value = to_t61(kv::field_text(orn, index, field), charset);
    const bool is_given_twice = !is_t61_form && !kv::field_text(orn, index, t61_field).empty();
    if (is_given_twice || !kv::try_put_field(orn, index, field, {}) ||
        !kv::try_put_field(orn, index, t61_field, value)) {
        er_TracedEscape(MES_SET_SERVER, kv::kBadNodeName, "cl", __LINE__);
    }
}

}  // namespace

void cl_ReadDefMNode(int node_type, char *orn) {
    *orn = '\0';
    const NodeTable &table = nodes.get();
    if (const auto found = table.names.find(node_type); found != table.names.end()) {
        text::copy_text(found->second, orn, CL_NODE_SIZE);
    }
}

void cl_ConvClMntoORN(const char *text, char *orn, int /*form*/, int /*check*/,
                      const ccs_descriptor *descriptor) {
    *orn = '\0';
    std::array<char, NM_ORN_SIZE> name;  // NOLINT(*-member-init): filled by the next call
    nm_index index;
    if (nm_ParseText(text, name.data(), &index, nullptr) == 0) {
        er_TracedEscape(MES_SET_SERVER, kv::kBadNodeName, "cl", __LINE__);
    }
    for (int field = NM_FIELD_COUNT - 1; field >= 0; --field) {  // downwards: a T.61 form is not met again
        const std::string_view value = kv::field_text(name.data(), index, field);
        if (ccs_Is7BitAscii(value.data(), static_cast<int>(value.size())) == 0) {
            make_t61(name.data(), index, field, descriptor->name);
        }
    }
    text::copy_text(name.data(), orn, NM_ORN_SIZE);
}
