// The home that the run uses, and the files in it that the library reads in silence.
#ifndef TOOL_HOME_FILES_H
#define TOOL_HOME_FILES_H

#include <initializer_list>
#include <string>

namespace tool {

inline constexpr const char *kInboundRules = "~/sys/unixin.rules";
inline constexpr const char *kGatewayMap = "~/sys/unixmap.gw";
inline constexpr const char *kOutboundRules = "~/sys/unixout.rules";
inline constexpr const char *kDomainMap = "~/sys/unixmap.out";
inline constexpr const char *kConfig = "~/sys/config";
inline constexpr const char *kMessages = "~/sys/messages";
inline constexpr const char *kMailNodes = "~/sys/mailnodes";
inline constexpr const char *kRoutes = "~/sys/routes";
inline constexpr const char *kMimeTypes = "~/sys/mime.types";
inline constexpr const char *kMimeCharsets = "~/sys/mime.cs";

// The errno for which the file `name` cannot be read, ENOENT when it is missing and EISDIR for a directory;
// else 0.
[[nodiscard]] int find_read_error(const std::string &name);

// Makes `directory` the home. Throws ToolError unless it is a directory with a sys directory.
void use_home(const std::string &directory);

// For subcommands that read the home: throws ToolError unless it is one, and each of `files` is missing or
// can be read. The library passes over a file that it cannot open as if it were missing, and its answer would
// then be a wrong one.
void require_home(std::initializer_list<const char *> files);

}  // namespace tool

#endif
