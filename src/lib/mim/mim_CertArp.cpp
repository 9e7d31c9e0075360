// The Internet address under which a user is known in certificates.

#include <array>
#include <cstdint>

#include "directory_name.h"
#include "dr.h"
#include "frame.h"
#include "mim.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;

constexpr const char *kMappingKey = "UXO_NAME_MAPPING";
constexpr const char *kCertificateAttribute = "1300";

enum class State {
    kNew = 0,         // the configuration is not loaded
    kLoaded = 1,      // it is
    kLoading = 2,     // it is being loaded, or could not be
    kConverting = 3,  // a conversion is under way, or the last one gave nothing
    kConverted = 4    // the last conversion gave an address
};

// What the first call loads, for the life of the process.
struct Configuration {
    State state = State::kNew;
    std::int16_t default_directory = 0;
    std::int16_t mapping_directory = 0;
    int mapping_on = 0;
    std::array<char, MIM_ATTRIBUTE_SIZE> mapping_attribute{};
    int add_delimiter = 0;
    int t61 = 0;
    char delimiter = '/';
    std::int16_t style = 1;
    std::int16_t mode = 1;
    std::array<char, MIM_RESERVED_SIZE> reserved{};
};
constinit Configuration configuration;

using AddressText = std::array<char, MIM_TEXT_SIZE>;

void load(Configuration &config, std::int16_t directory) {
    config.state = State::kLoading;
    config.default_directory = directory != 0 ? directory : dr_OpenDir(0, DR_READ, "", "");
    std::array<char, MIM_DIRECTORY_SIZE> directory_name{};
    config.mapping_on = mim_ChkMappingConfig(kMappingKey, directory_name.data(), &config.mapping_directory,
                                             config.default_directory, config.mapping_attribute.data(), 0);
    mim_SetDelimsAndLimits(&config.add_delimiter, &config.t61, &config.delimiter, config.reserved.data(),
                           &config.style, &config.mode);
    config.state = State::kLoaded;
}

// The certificate attribute of the user's entry, in the mapping directory or the default one.
bool find_certificate_address(const Configuration &config, const char *orn, char *address) {
    const auto is_in = [=](std::int16_t directory) {
        return mim_GetDirArpaORN(orn, address, 1, directory, kCertificateAttribute) != 0;
    };
    return (config.mapping_directory != 0 && is_in(config.mapping_directory)) ||
           (config.default_directory != config.mapping_directory && is_in(config.default_directory));
}

void convert_name(const Configuration &config, const char *orn, char *address) {
    mim_ConvORNToArpaORN(orn, address, mim_RoutableToUnix(orn), "", config.mapping_on,
                         config.mapping_directory, config.mapping_attribute.data(), config.add_delimiter,
                         config.mode, config.style, config.delimiter, config.t61, 1);
}

bool convert(Configuration &config, const char *orn, char *out, bool use_directory_name) {
    if (config.state == State::kLoading) {
        return false;
    }
    config.state = State::kConverting;
    if (orn == nullptr || *orn == '\0' || out == nullptr) {
        return false;
    }
    AddressText address;  // NOLINT(*-member-init): filled by the next calls
    if (!find_certificate_address(config, orn, address.data())) {
        std::array<char, NM_ORN_SIZE> found;  // NOLINT(*-member-init): filled by the next call
        if (use_directory_name && mim::find_directory_name(config.default_directory, orn, found.data())) {
            orn = found.data();
        }
        convert_name(config, orn, address.data());
        if (address.front() == '\0') {
            return false;
        }
    }
    config.state = State::kConverted;
    std::array<char, MIM_ADDRESS_SIZE> bare;  // NOLINT(*-member-init): filled by the next call
    mim_parse_address(address.data(), nullptr, bare.data(), nullptr, nullptr, nullptr);
    text::copy_text(bare.data(), out, MIM_TEXT_SIZE);
    return true;
}

// Runs `body`; a failure that may be got over ends it.
template <typename Body>
void protect(Body &&body) {
    mim::protected_region(
        mim::kCertArpFile, std::forward<Body>(body), [] {}, mim::Disposal::kAcceptConfiguration);
}

}  // namespace

int mim_ConvORNToCertSMTP(const char *orn, char *out, int16_t directory, int /*reserved*/,
                          int use_directory_name) {
    return mim::traced<TraceClass::kSetup>(__func__, [&] {
        if (configuration.state == State::kNew) {
            protect([directory] { load(configuration, directory); });
        }
        bool is_found = false;
        protect([&] { is_found = convert(configuration, orn, out, use_directory_name != 0); });
        return is_found ? 1 : 0;
    });
}
