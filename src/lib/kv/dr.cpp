// The directories that are open in this process.

#include "dr.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

#include "da_internal.h"
#include "directory.h"
#include "failures.h"
#include "home_file.h"
#include "os.h"
#include "text/writer.h"

namespace {

using kv::Directory;

constexpr std::string_view kFolder = "~/sys/directory/";
constexpr std::string_view kDefaultName = "default";
constexpr std::string_view kSuffix = ".ldif";
constexpr std::size_t kPathSize = kFolder.size() + DR_NAME_SIZE + kSuffix.size();

struct OpenDirectory {
    Directory table;
    da_entry found{};  // what the last search gave out
};

// The directories by handle, from 1; those that are closed are null.
struct Handles {
    std::array<std::unique_ptr<OpenDirectory>, DR_MAX_OPEN> directories;
};
Handles handles;

// How searches compare; set by dr_SetFilterModifier.
Directory::Comparison comparison = Directory::Comparison::kExact;

struct CloseFile {
    void operator()(os_file *file) const { os_fclose(file); }
};
using File = std::unique_ptr<os_file, CloseFile>;

std::unique_ptr<OpenDirectory> &directory_of(std::int16_t handle) {
    if (handle < 1 || handle > DR_MAX_OPEN || !handles.directories[static_cast<std::size_t>(handle) - 1]) {
        er_TracedEscape(MES_SET_SERVER, kv::kNoSuchDirectoryHandle, "dr", __LINE__);
    }
    return handles.directories[static_cast<std::size_t>(handle) - 1];
}

// Reads the directory `name` into `table`.
void read_directory(std::string_view name, Directory &table) {
    if (name.size() >= DR_NAME_SIZE || name.find('/') != std::string_view::npos) {
        er_TracedEscape(MES_SET_SERVER, kv::kNoSuchDirectory, "dr", __LINE__);
    }
    std::array<char, kPathSize> path;  // NOLINT(*-member-init): filled by the writer
    text::Writer out{path.data(), path.size()};
    out.append(kFolder);
    out.append(name.empty() ? kDefaultName : name);
    out.append(kSuffix);
    out.finish();
    if (name.empty() && os_fexists(path.data()) == 0) {
        return;
    }
    const File file{os_fopen(path.data(), "r")};
    if (!file) {
        er_LogMsg(kv::kUnreadableFileSeverity, MES_SET_SERVER, kv::kFileUnreadable, path.data(), nullptr);
        er_TracedEscape(MES_SET_SERVER, kv::kNoSuchDirectory, "dr", __LINE__);
    }
    if (const auto fault = table.read(file.get())) {
        kv::log_line(kv::kUnreadableFileSeverity, kv::kDirectoryLine, path.data(), fault->line,
                     fault->reason);
        er_TracedEscape(MES_SET_SERVER, kv::kBadDirectoryFile, "dr", __LINE__);
    }
}

}  // namespace

int16_t dr_OpenDir(int16_t /*server*/, int /*mode*/, const char *name, const char *password) {
    auto *const free_place = std::find(handles.directories.begin(), handles.directories.end(), nullptr);
    if (free_place == handles.directories.end()) {
        er_TracedEscape(MES_SET_SERVER, kv::kTooManyDirectories, "dr", __LINE__);
    }
    try {
        auto directory = std::make_unique<OpenDirectory>();
        read_directory(name, directory->table);
        if (!directory->table.is_opened_by(password)) {
            er_TracedEscape(MES_SET_SERVER, kv::kWrongPassword, "dr", __LINE__);
        }
        *free_place = std::move(directory);
    } catch (const std::bad_alloc &) {
        kv::raise_no_memory("dr", __LINE__);
    }
    return static_cast<int16_t>(free_place - handles.directories.begin() + 1);
}

void dr_CloseDir(int16_t directory) {
    directory_of(directory).reset();
}

int dr_Search(int16_t directory, const char * /*base*/, const char * /*scope*/, const da_list *filter,
              int /*flags*/, int /*kind*/, const char *wanted, const da_entry **entry, const char * /*order*/,
              int /*max*/, int /*time_limit*/, int *count) {
    *entry = nullptr;
    *count = 0;
    OpenDirectory &open = *directory_of(directory);
    const Directory::Matches found = open.table.find(*filter, comparison);
    *count = static_cast<int>(found.count);
    if (found.count > 0) {
        open.table.show(found.first, wanted, open.found);
        *entry = &open.found;
    }
    return found.has_loose_matches ? 1 : 0;
}

void dr_SetFilterModifier(int modifier) {
    comparison =
        modifier == DR_COMPARE_LOOSELY ? Directory::Comparison::kLoose : Directory::Comparison::kExact;
}
