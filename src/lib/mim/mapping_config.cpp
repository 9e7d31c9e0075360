// How O/R names are mapped through the directory, and how they are formatted: what a caller of the
// conversions reads once and passes to each.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "cust.h"
#include "da.h"
#include "dr.h"
#include "frame.h"
#include "inet.h"
#include "mdc.h"
#include "mim.h"

namespace {

using mim::TraceClass;

constexpr const char *kDirectoryKey = "UX_NAME_MAPPING_DIR";
constexpr const char *kPasswordKey = "UX_NAME_MAPPING_DIR_PASSWD";
constexpr const char *kAttributeKey = "UX_NAME_MAPPING_ATTRIB";
constexpr const char *kAddDelimiterKey = "UXO_ADD_DELIMITER";
constexpr const char *kT61Key = "UXO_INCLUDE_T61_FIELDS";
constexpr const char *kDefaultAttribute = "167";

constexpr const char *kConfigFile = "~/sys/config";
constexpr int kMessageSet = 102;
constexpr int kCannotOpen = 1419;
constexpr int kCutShort = 1420;
constexpr int kCannotSeek = 1421;

// ---- Directory ----

bool is_mapping_on(const char *key) {
    return inet_AutoIamOn() != 0 ? cust_PresentAndFalse(key) == 0 : cust_PresentAndTrue(key) != 0;
}

// Runs `body`; a failure that may be got over makes it false.
template <typename Body>
bool succeeds(Body &&body) {
    return mim::protected_region(
        mim::kMapornFile, std::forward<Body>(body), [] {}, mim::Disposal::kAcceptConfiguration);
}

// Opens the directory that the customisation names, if it names one; returns false when that cannot be
// opened.
bool open_directory(char *name, int16_t *directory, int16_t default_directory) {
    std::array<char, DR_PASSWORD_LENGTH + 1> password{};
    const char *value = nullptr;
    if (cust_GetCustomiseInfo(kPasswordKey, &value) != 0) {
        mdc_strlcpy(password.data(), value, password.size());
    }
    if (cust_GetCustomiseInfo(kDirectoryKey, &value) == 0) {
        *directory = default_directory;
        return true;
    }
    mdc_strlcpy(name, value, MIM_DIRECTORY_SIZE);
    return succeeds([&] { *directory = dr_OpenDir(0, DR_READ, name, password.data()); });
}

bool is_attribute(const char *name) {
    return succeeds([name] {
        da_list list;
        da_InitAttribList(&list);
        da_AddAttribToList(&list, DA_MAX_ATTRIBUTES, name, "");
    });
}

bool configure_mapping(const char *key, char *directory_name, int16_t *directory, int16_t default_directory,
                       char *attribute, bool force) {
    *directory_name = '\0';
    *directory = 0;
    *attribute = '\0';
    const bool is_on = is_mapping_on(key);
    if (!is_on && !force) {
        *directory = default_directory;
        mdc_strlcpy(attribute, kDefaultAttribute, MIM_ATTRIBUTE_SIZE);
        return false;
    }
    const bool is_open = open_directory(directory_name, directory, default_directory);
    if (!is_open && !force) {
        mdc_strlcpy(attribute, kDefaultAttribute, MIM_ATTRIBUTE_SIZE);
        return false;
    }
    const char *name = kDefaultAttribute;
    cust_GetCustomiseInfo(kAttributeKey, &name);
    mdc_strlcpy(attribute, name, MIM_ATTRIBUTE_SIZE);
    return is_attribute(attribute) && is_on && is_open;
}

// ---- Formatting ----

// The file of fixed layout, in the host's byte order.
class ConfigFile {
  public:
    ConfigFile() : descriptor_(os_open(kConfigFile, 0)) {
        if (descriptor_ < 0) {
            er_TracedEscape(kMessageSet, kCannotOpen, mim::kMapornFile, __LINE__);
        }
    }
    ConfigFile(const ConfigFile &) = delete;
    ConfigFile &operator=(const ConfigFile &) = delete;
    ~ConfigFile() { close_quietly(); }

    // Copies the `width` bytes at `offset`.
    void read(std::int64_t offset, void *field, std::size_t width) {
        if (mdc_lseek(descriptor_, offset, MDC_SEEK_SET) < 0) {
            close_quietly();
            er_TracedEscape(kMessageSet, kCannotSeek, mim::kMapornFile, __LINE__);
        }
        if (mdc_read(descriptor_, field, width) != static_cast<std::int64_t>(width)) {
            close_quietly();
            er_TracedEscape(kMessageSet, kCutShort, mim::kMapornFile, __LINE__);
        }
    }

    [[nodiscard]] std::int16_t read_number(std::int64_t offset) {
        std::int16_t number = 0;
        read(offset, &number, sizeof number);
        return number;
    }

    void close() {
        if (const int descriptor = std::exchange(descriptor_, -1); descriptor >= 0) {
            mdc_close(descriptor);
        }
    }

  private:
    void close_quietly() {
        mim::clean_up_quietly([this] { close(); });
    }

    int descriptor_;
};

void read_formatting(int *add_delimiter, int *t61, char *delimiter, char *reserved, int16_t *style,
                     int16_t *mode) {
    constexpr std::int16_t kLowest = 1;
    *add_delimiter = cust_GetCustomiseInfo(kAddDelimiterKey, nullptr) != 0 ? 1 : 0;
    *t61 = cust_GetCustomiseInfo(kT61Key, nullptr) != 0 ? 1 : 0;

    ConfigFile file;
    *delimiter = file.read_number(MIM_CONFIG_DELIMITER) == ';' ? ';' : '/';
    std::array<char, MIM_RESERVED_SIZE> copied{};
    file.read(MIM_CONFIG_RESERVED, copied.data(), copied.size());
    std::memcpy(reserved, copied.data(), copied.size());
    *style = std::max(file.read_number(MIM_CONFIG_STYLE), kLowest);
    *mode = std::max(file.read_number(MIM_CONFIG_MODE), kLowest);
    file.close();
}

}  // namespace

int mim_ChkMappingConfig(const char *key, char *directory_name, int16_t *directory, int16_t default_directory,
                         char *attribute, int force) {
    return mim::traced<TraceClass::kSetup>(__func__, [&] {
        return configure_mapping(key, directory_name, directory, default_directory, attribute, force != 0)
                   ? 1
                   : 0;
    });
}

void mim_SetDelimsAndLimits(int *add_delimiter, int *t61, char *delimiter, char *reserved, int16_t *style,
                            int16_t *mode) {
    mim::traced<TraceClass::kSetup>(
        __func__, [&] { read_formatting(add_delimiter, t61, delimiter, reserved, style, mode); });
}

int16_t mim_CloseMapDir(int16_t directory, int16_t default_directory) {
    return mim::traced<TraceClass::kSetup>(__func__, [&] {
        if (directory == 0 || directory == default_directory) {
            return directory;
        }
        mim::clean_up_quietly([directory] { dr_CloseDir(directory); });
        return int16_t{0};
    });
}
