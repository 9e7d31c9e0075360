// mim check: what is wrong with the files of the home, or with files that are to take their place.

#include "check.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <system_error>
#include <vector>

#include "akt.h"
#include "ccs.h"
#include "commands.h"
#include "cvc.h"
#include "escape.h"
#include "explanation.h"
#include "ext.h"
#include "home_files.h"
#include "json_line.h"
#include "os.h"

namespace tool {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kSystemFolder = "~/sys/";
constexpr std::string_view kDirectoryFolder = "~/sys/directory/";
constexpr std::string_view kDirectorySuffix = ".ldif";

using Check = std::function<void(CheckedFile &, const std::vector<std::string> &)>;

struct FileKind {
    const char *name;  // in the system folder
    void (*check)(CheckedFile &);
};

// In the order in which a message meets them: in, then out, then what bodies need.
constexpr std::array kFileKinds = std::to_array<FileKind>({
    {"unixin.rules", check_inbound_rules},
    {"unixmap.gw", check_gateway_map},
    {"mailnodes", check_mail_nodes},
    {"routes", check_routes},
    {"unixmap.out", check_domain_map},
    {"unixout.rules", check_outbound_rules},
    {"config", check_config},
    {"customise", check_customise},
    {"messages", check_messages},
    {"mime.types", check_types},
    {"mime.cs", check_charsets},
});

std::string actual_name(const std::string &path) {
    std::array<char, EXT_PATH_SIZE> name{};
    ext_GetActualFName(path.c_str(), name.data());
    return name.data();
}

// ---- Files that are to take the place of the home's ----

// Where in a home a file of that name belongs; the beginning of the name tells: unixmap.gw.new is a gateway
// map. Empty when it does not.
std::string place_of(const fs::path &file) {
    const std::string name = file.filename().string();
    for (const FileKind &kind : kFileKinds) {
        if (name.starts_with(kind.name)) {
            return std::string{kSystemFolder} + kind.name;
        }
    }
    const std::size_t suffix = name.find(kDirectorySuffix);
    return suffix == std::string::npos
               ? std::string{}
               : std::string{kDirectoryFolder} + name.substr(0, suffix + kDirectorySuffix.size());
}

// A home for the time of the check: links to the files of the home, and to those that are to take their
// place. The library then reads what it would read.
class StagedHome {
  public:
    explicit StagedHome(const std::vector<std::pair<std::string, std::string>> &files)
        : former_(ext_GetHome()) {
        std::string name = (fs::temp_directory_path() / "mim-check.XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw ToolError(name, errno);
        }
        home_ = name;
        try {
            fs::create_directories(home_ / "sys" / "directory");
            link_all(fs::path{former_} / "sys", home_ / "sys");
            link_all(fs::path{former_} / "sys" / "directory", home_ / "sys" / "directory");
            for (const auto &[path, file] : files) {
                const fs::path place = home_ / path.substr(std::string_view{"~/"}.size());
                fs::remove(place);
                fs::create_symlink(fs::absolute(file), place);
            }
        } catch (const fs::filesystem_error &error) {
            remove();
            throw ToolError(error.path1().string(), error.code().value());
        }
        ext_SetHome(home_.c_str());
    }
    StagedHome(const StagedHome &) = delete;
    StagedHome &operator=(const StagedHome &) = delete;
    ~StagedHome() {
        ext_SetHome(former_.c_str());
        remove();
    }

  private:
    static void link_all(const fs::path &from, const fs::path &to) {
        std::error_code error;
        for (const fs::directory_entry &entry : fs::directory_iterator{from, error}) {
            if (const fs::path place = to / entry.path().filename(); !fs::exists(place)) {
                fs::create_symlink(fs::absolute(entry.path()), place);
            }
        }
    }

    void remove() {
        std::error_code ignored;
        fs::remove_all(home_, ignored);
    }

    std::string former_;
    fs::path home_;
};

// ---- Rows ----

std::string count_findings(const CheckedFile &file) {
    std::array<std::size_t, 2> counts{};
    for (const Finding &finding : file.findings()) {
        ++counts[static_cast<std::size_t>(kind_of(finding.fault).severity)];
    }
    const auto [warnings, errors] = counts;
    return (errors > 0 ? counted(errors, "error") : "") + (errors > 0 && warnings > 0 ? ", " : "") +
           (warnings > 0 ? counted(warnings, "warning") : "");
}

const char *name_of(Severity severity) {
    return severity == Severity::kError ? "error" : "warning";
}

// How much was read.
std::string size_of(const CheckedFile &file) {
    const std::string note = file.note().empty() ? "" : ", " + file.note();
    if (file.lines() > 0) {
        return counted(static_cast<std::size_t>(file.lines()), "line") + note;
    }
    const fs::path name = actual_name(file.path());
    std::error_code error;
    return fs::is_regular_file(name, error)
               ? counted(static_cast<std::size_t>(fs::file_size(name, error)), "byte")
               : "not a file";
}

// The findings, one a line, then the row of the file.
void write_file(Session &session, const CheckedFile &file, bool is_there) {
    const std::string faults = count_findings(file);
    if (!faults.empty()) {
        session.note(Exit::kNoResult);
    }
    const std::string size = is_there ? size_of(file) : "no such file";
    const std::string status = faults.empty() ? "ok" : "error: " + faults;
    if (session.json) {
        Json findings = Json::array();
        for (const Finding &finding : file.findings()) {
            const FaultKind &kind = kind_of(finding.fault);
            findings.push_back({{"line", finding.line},
                                {"severity", name_of(kind.severity)},
                                {"fault", kind.name},
                                {"text", finding.text}});
        }
        Json row{{"input", file.name()},
                 {"result", is_there ? Json(size) : Json(nullptr)},
                 {"status", status},
                 {"findings", findings}};
        append_json_line(session.rows.buffer(), row);
    } else {
        std::string &rows = session.rows.buffer();
        for (const Finding &finding : file.findings()) {
            const FaultKind &kind = kind_of(finding.fault);
            append_escaped(rows, file.name(), kColumnSpecials);
            rows += ':';
            if (finding.line > 0) {
                rows += std::to_string(finding.line);
                rows += ':';
            }
            rows += ' ';
            rows += name_of(kind.severity);
            rows += ": ";
            append_escaped(rows, finding.text, kColumnSpecials);
            rows += " [";
            rows += kind.name;
            rows += "]\n";
        }
        append_escaped(rows, file.name(), kColumnSpecials);
        rows += '\t' + size + '\t' + status + '\n';
    }
    session.rows.flush_full_block();
}

// ---- The check ----

struct ToCheck {
    std::string path;  // as the library knows it
    std::string name;  // as the user does
    Check check;
};

Check check_of(const std::string &path) {
    for (const FileKind &kind : kFileKinds) {
        if (path == std::string{kSystemFolder} + kind.name) {
            return [&kind](CheckedFile &file, const std::vector<std::string> &) { kind.check(file); };
        }
    }
    return check_directory;
}

std::vector<ToCheck> files_of_home() {
    std::vector<ToCheck> files;
    for (const FileKind &kind : kFileKinds) {
        const std::string path = std::string{kSystemFolder} + kind.name;
        files.push_back({path, actual_name(path), check_of(path)});
    }
    std::vector<std::string> directories;
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator{actual_name("~/sys/directory"), error}) {
        directories.push_back(entry.path().filename().string());
    }
    std::sort(directories.begin(), directories.end());
    for (const std::string &name : directories) {
        const std::string path = std::string{kDirectoryFolder} + name;
        files.push_back({path, actual_name(path), check_directory});
    }
    return files;
}

void check_file(Session &session, const ToCheck &to_check) {
    CheckedFile file{to_check.path, to_check.name};
    const int read_error = find_read_error(actual_name(to_check.path));
    if (read_error == ENOENT) {
        write_file(session, file, false);
        return;
    }
    try {
        std::vector<std::string> logged;
        const Session::LogCapture capture{session, logged};
        if (read_error != 0) {
            throw ToolError(to_check.name, read_error);
        }
        if (protect([&] { to_check.check(file, logged); }) != 0) {
            throw ToolError(to_check.name, describe(take_failure()).c_str());
        }
    } catch (const ToolError &error) {
        file.add(Fault::kUnreadable, 0, std::string{error.what()}.substr(to_check.name.size() + 2));
        session.note(Exit::kFailed);
    }
    file.sort_findings();
    write_file(session, file, true);
}

void check_all(Session &session, const std::vector<std::string> &names) {
    if (names.empty()) {
        require_home({});
        for (const ToCheck &file : files_of_home()) {
            check_file(session, file);
        }
        return;
    }
    std::vector<std::pair<std::string, std::string>> staged;
    for (const std::string &name : names) {
        const std::string path = place_of(name);
        const bool is_taken = std::any_of(staged.begin(), staged.end(),
                                          [&path](const auto &other) { return other.first == path; });
        if (path.empty() || is_taken) {
            session.note(Exit::kWrongUse);
            const char *const why =
                path.empty() ? "the name is that of no file of a home" : "another file has its place";
            session.report("error", ToolError(name, why).what());
            return;
        }
        if (const int error = find_read_error(name); error != 0) {
            throw ToolError(name, error);
        }
        staged.emplace_back(path, name);
    }
    const StagedHome home{staged};
    for (const auto &[path, name] : staged) {
        check_file(session, {path, name, check_of(path)});
    }
}

void list_faults(Session &session) {
    for (const FaultKind &kind : kFaultKinds) {
        Answer answer{session.json};
        answer.set(std::string{name_of(kind.severity)} + ": " + kind.meaning);
        append_row(session, {kind.name, false}, answer);
    }
}

}  // namespace

bool is_in_home(const char *path) {
    return os_fexists(path) != 0;
}

std::string find_incompleteness(const OrName &orn) {
    if (akt_CheckORName(orn.text.data()) == 0) {
        return "it holds what an O/R name cannot";
    }
    std::array<std::uint32_t, NM_MAP_WORDS> fields{};
    nm_GetFieldMaps(&orn.index, fields.data());
    if (akt_CheckFieldsPresent(fields.data()) != 0) {
        return {};
    }
    if (field_text(orn, NM_COUNTRY).empty()) {
        return "it has no country (C)";
    }
    return field_text(orn, NM_ADMD).empty() ? "it has no ADMD" : "it names nobody";
}

std::optional<std::string> route_of(const OrName &orn) {
    akt_route route{};
    bool is_found = false;
    const bool is_done = try_call([&] { is_found = akt_CheckRoutable(orn.text.data(), &route) != 0; });
    return is_done && is_found ? std::optional<std::string>{route.node} : std::nullopt;
}

bool is_known_charset(const std::string &name) {
    ccs_descriptor descriptor{};
    return ccs_GetCSDescriptor(name.c_str(), &descriptor) != 0 ||
           cvc_iconv_recognised_charset(name.c_str()) != 0;
}

bool is_domain(std::string_view text) {
    if (text.size() > 2 && text.front() == '[' && text.back() == ']') {
        return text.find_first_of("[] \t", 1) == text.size() - 1;
    }
    constexpr text::CharSet kCharacters = text::kLetters | text::kDigits | text::CharSet{"-_"};
    bool is_label = false;
    for (const char c : text) {
        if (c == '.' ? !is_label : !kCharacters.contains(c)) {
            return false;
        }
        is_label = c != '.';
    }
    return is_label;
}

void add_check(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "check", "Tell what is wrong with the files of the home");
    const CLI::Option *list =
        add_flag(*app, "--list", "List the faults that can be found, and check nothing");
    const CLI::Option *files = add_files(*app, "FILE", "Files to check in place of the home's");
    commands.push_back({app, [=](Session &session) {
                            if (is_set(list)) {
                                list_faults(session);
                            } else {
                                check_all(session, items_of(files));
                            }
                        }});
}

}  // namespace tool
