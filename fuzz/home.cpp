// The administrator's files of a home: whatever they hold, they are read, and read the same again.

#include <array>

#include "akt.h"
#include "cl.h"
#include "cust.h"
#include "dr.h"
#include "ext.h"
#include "fuzz.h"
#include "mes.h"
#include "mim.h"
#include "temp_home.h"

namespace {

std::string customised(const std::string &key) {
    const char *value = "";
    std::string found;
    fuzz::succeeds([&] {
        found = std::to_string(cust_GetCustomiseInfo(key.c_str(), &value));
        found += value;
    });
    return found + std::to_string(cust_PresentAndTrue(key.c_str())) +
           std::to_string(cust_PresentAndFalse(key.c_str()));
}

// The value of a key as the lines tell it.
std::string customised_slowly(const std::string &key, const std::string &file) {
    std::string found = "0";
    for (std::size_t place = 0; place < file.size();) {
        const std::size_t end = std::min(file.find('\n', place), file.size());
        const std::string line = file.substr(place, end - place);
        const std::size_t equals = line.find('=');
        const auto bare = [](std::string text) {
            text.erase(0, text.find_first_not_of(" \t\r"));
            return text.erase(text.find_last_not_of(" \t\r") + 1);
        };
        if (line[0] != '#' && equals != std::string::npos && bare(line.substr(0, equals)) == key) {
            found = "1" + bare(line.substr(equals + 1));
        }
        place = end + 1;
    }
    return found;
}

std::string mapping(int force) {
    std::int16_t directory = 0;
    std::string name;
    std::string attribute;
    name = fuzz::written(MIM_DIRECTORY_SIZE, [&](char *out) {
        attribute = fuzz::answer(MIM_ATTRIBUTE_SIZE, [&](char *text) {
            return mim_ChkMappingConfig("UXO_NAME_MAPPING", out, &directory, 0, text, force);
        });
    });
    return name + attribute + (mim_CloseMapDir(directory, 0) == 0 ? "" : "open");
}

std::string limits() {
    int add = -1;
    int t61 = -1;
    std::array<char, MIM_RESERVED_SIZE + 1> text{};
    std::int16_t style = -1;
    std::int16_t mode = -1;
    const bool is_read = fuzz::succeeds(
        [&] { mim_SetDelimsAndLimits(&add, &t61, text.data(), text.data() + 1, &style, &mode); });
    fuzz::expect(!is_read || (style > 0 && mode > 0 && (text[0] == '/' || text[0] == ';')),
                 "limits are those that can be");
    return std::string{text.data(), text.size()} + std::to_string(add) + std::to_string(t61) +
           std::to_string(style) + std::to_string(mode);
}

std::string node_of(int type) {
    const std::string orn = fuzz::written(CL_NODE_SIZE, [&](char *out) { cl_ReadDefMNode(type, out); });
    nm_index index;
    fuzz::expect(nm_ParseORN(orn.c_str(), &index, nullptr) == 1, "a mail node is an O/R name", orn);
    return orn;
}

std::string route_of(const char *name) {
    akt_route route{};
    std::string orn(NM_ORN_SIZE, '\0');
    nm_index index;
    nm_ParseText(name, orn.data(), &index, nullptr);
    const int is_routable = akt_CheckRoutable(orn.data(), &route);
    fuzz::expect((is_routable == 0) == (route.node[0] == '\0'), "what routes has a node", route.node);
    return route.node;
}

std::string found_in_directory(const std::string &name) {
    std::int16_t directory = 0;
    if (!fuzz::succeeds([&] { directory = dr_OpenDir(0, DR_READ, "", "secret"); })) {
        return "none";
    }
    const std::string address = fuzz::answer(MIM_TEXT_SIZE, [&](char *out) {
        return mim_GetDirArpaORN(fuzz::Copy{name}, out, 1, directory, "167");
    });
    fuzz::expect(fuzz::succeeds([&] { dr_CloseDir(directory); }), "a directory is closed");
    return address;
}

// All that lookups tell of a home.
std::string told_of(std::size_t file, const std::string &name) {
    switch (file) {
        case 0:
            return customised(name) + mapping(0) + mapping(1);
        case 1:
            return limits();
        case 2:
            return fuzz::text_of(mes_GetText(MES_SET_GATEWAY, 1413)) +
                   fuzz::text_of(mes_GetText(MES_SET_SERVER, 7617));
        case 3:
            return node_of(CL_MIME_GATEWAY) + node_of(CL_TNEF_GATEWAY) + node_of(2);
        case 4:
            return route_of("/C=us/") + route_of("/OU1=a/O=b/PRMD=p/ADMD=m/C=gb/");
        default:
            return found_in_directory(name);
    }
}

}  // namespace

FUZZ_TARGET(home) {
    constexpr std::array kFiles{"customise", "config", "messages",
                                "mailnodes", "routes", "directory/default.ldif"};
    static std::array<TempHome, kFiles.size()> homes;
    const std::size_t file = in.below(kFiles.size());
    const std::string name = in.text(NM_ORN_SIZE - 1);
    std::string content = in.rest();
    if (file == 1) {
        content.insert(0, MIM_CONFIG_RESERVED, '.');
    }
    homes[file].write(kFiles[file], content);
    const std::string first = told_of(file, name);
    if (file == 0 && content.size() < 8000 && content.find('\0') == std::string::npos && !name.empty() &&
        name.find_first_of("=#\n \t\r") == std::string::npos) {
        const std::string slow = customised_slowly(name, content);
        fuzz::expect(first.starts_with(slow), "the last line with a key counts", first, slow);
    }
    ext_SetHome(ext_GetHome());
    fuzz::expect_equal(told_of(file, name), first, "a file is read the same again");
}
