// mim: conversions between Internet mail and an X.400-style mail server.
//
// This header is the reference of libmim. It is C11 and C++20. What holds for every function:
//
// - Text arguments are zero-terminated, and bytes above 127 are ordinary characters. A pointer may be null
//   only where that is said. Buffers of one call must not overlap. The capacities that are given count the
//   terminator; no function ever writes beyond them.
// - Letter case, white space and letters are those of ASCII, whatever the locale.
// - A CR or LF in an argument is an ordinary character too, and comes out where its text does; an address
//   that is made of an O/R name has none. What stands for a CR, LF or NUL in another form becomes one only
//   by the decoders: of header words, xtext, message identifiers and bodies.
// - Malformed text is no failure: it gives the result that is stated. A failure (er.h) comes from a service
//   below, such as a file that cannot be read or memory exhausted, and unwinds to the caller's handler; a C
//   program calls through er_Try, or the failure ends the process. "Passes failures on" means that nothing of
//   the function itself is held back by one: what it had written by then stays written.
// - An O/R name is a buffer of NM_ORN_SIZE bytes with its field index (nm.h). Both belong to the caller.
// - The library takes no locks: call it from one thread at a time.
//
// A file whose path begins with "~/" stands in the server's home (ext.h). A file that is missing is no error.
#ifndef MIM_H
#define MIM_H

#include <stdint.h>

#include "ccs.h"
#include "dstring.h"
#include "nm.h"
#include "os.h"

#ifdef __cplusplus
extern "C" {
#endif

#define MIM_EXPORT __attribute__((visibility("default")))

enum {
    MIM_ADDRESS_SIZE = 1024,     // each output of mim_parse_address
    MIM_MAX_ADDRESS = 1023,      // characters of an address that mim_parse_address reads
    MIM_TEXT_SIZE = 1025,        // working texts for addresses and domains
    MIM_MAX_TEXT = 1024,         // characters that they hold
    MIM_SUBJECT_SIZE = 2050,     // the subject of a rule
    MIM_MAX_REWRITE = 2048,      // characters of a rule's result
    MIM_CAPTURES = 9,            // captures that a pattern records
    MIM_MAX_APPLICATIONS = 100,  // times that one rule is applied to its own result
    MIM_SURNAME_SIZE = 41,       // a surname made from an address
    MIM_MAX_SURNAME = 40,        // characters of it
    MIM_DIRECTORY_SIZE = 65,     // the name of a directory
    MIM_ATTRIBUTE_SIZE = 65,     // the name of a directory attribute
    MIM_RESERVED_SIZE = 4,       // the field of ~/sys/config that is handed on unread
    MIM_CONFIG_RESERVED = 472,   // where in ~/sys/config its fields stand
    MIM_CONFIG_DELIMITER = 476,
    MIM_CONFIG_STYLE = 480,
    MIM_CONFIG_MODE = 482,
    MIM_MAX_MESSAGE_ID = 4095,     // characters of a decoded message identifier, and of the O/R name in it
    MIM_DATE_SIZE = 32,            // a date
    MIM_ENCODED_SIZE = 4096,       // an encoded text
    MIM_MAX_WORD_CHARSET = 44,     // characters of a character set's name in an encoded word that is written
    MIM_CHARSET_SIZE = 257,        // the name of a character set
    MIM_CONTENT_TYPE_SIZE = 1024,  // a Content-Type value whose character set was rewritten
    MIM_MIME_TYPE_SIZE = 128,      // a MIME type and subtype
    MIM_TYPE_HEADER_SIZE = 183,    // a Content-Type header that was made of them
    MIM_SHORT_NAME_SIZE = 16       // a file name of at most 8 characters, a dot and 4 more
};

// ---- Address parsing (RFC 822) ----

// Splits one address, as it stands in a header, into its parts.
//
// - `text` (in): the address; of more than MIM_MAX_ADDRESS characters the first so many are read.
// - `phrase` (out): the display phrase and the text of comments, without outer quotes and parentheses.
// - `address` (out): the address proper with its source route, quotes and escapes as written.
// - `route` (out): the source route without its final colon.
// - `local_part` (out): the local part, without quotes and escapes when it was quoted.
// - `domain` (out): what follows the "@" that separates it, unchanged.
//
// Each output holds MIM_ADDRESS_SIZE bytes and may be null; one that is not reached is empty.
// Every input has a result; what is unbalanced runs to the end. With a "<" outside quotes and comments, the
// address is what stands between "<" and ">", and the rest is phrase. Allocates nothing and passes no failure
// on.
MIM_EXPORT void mim_parse_address(const char *text, char *phrase, char *address, char *route,
                                  char *local_part, char *domain);

// Removes white space (blank, \t, \n, \v, \f, \r) at both ends of `text`, in place.
MIM_EXPORT void mim_trim_space(char *text);

// Removes white space at both ends of `text`, in place; of a text that begins with a double quote, that quote
// and the white space after it too, and, when it also ends with one, the closing quote, the white space
// before it, and the backslash of each escaped character. Two double quotes alone give one double quote.
MIM_EXPORT void mim_trim_spacequotes(char *text);

// Removes white space at the end of `text`, in place.
MIM_EXPORT void mim_trim_trailing_space(char *text);

// ---- Mapping configuration ----

// Tells whether O/R names are mapped to Internet addresses through the directory, and by which attribute.
//
// - `key`: the customisation key that switches mapping on or off, "UXO_NAME_MAPPING" by custom. When
//   automatic Internet addressing is on (inet.h) mapping is on unless the key is false; else it is off unless
//   it is true.
// - `directory_name` (out, MIM_DIRECTORY_SIZE bytes): the first 64 characters of UX_NAME_MAPPING_DIR, or
//   the empty text.
// - `directory` (out): the handle of that directory, opened with the first 8 characters of
//   UX_NAME_MAPPING_DIR_PASSWD, for the caller to close with mim_CloseMapDir; `default_directory` when no
//   directory is named or mapping is off; 0 when it cannot be opened.
// - `attribute` (out, MIM_ATTRIBUTE_SIZE bytes): UX_NAME_MAPPING_ATTRIB, else "167". A name that is too long
//   is cut to 64 characters; one that is no attribute's switches mapping off.
// - `force` not 0: directory and attribute are set up although mapping is off.
//
// Returns 1 when mapping is on, else 0. A recoverable failure of the directory services switches mapping off;
// a persistent one, and those of other services, are passed on.
MIM_EXPORT int mim_ChkMappingConfig(const char *key, char *directory_name, int16_t *directory,
                                    int16_t default_directory, char *attribute, int force);

// Reads how local parts are formatted: `*add_delimiter` and `*t61` are 1 when UXO_ADD_DELIMITER and
// UXO_INCLUDE_T61_FIELDS are defined, else 0; the rest comes from ~/sys/config, in the host's byte order: the
// 16 bits at offset 476 are the code of `*delimiter` (";" or "/", and "/" for any other), 4 bytes at 472 go
// to `reserved` (MIM_RESERVED_SIZE bytes, not terminated) as they are, and the 16 bits at 480 and 482 are
// `*style` and `*mode`, at least 1. Failures: (102, 1419) the file cannot be opened, (102, 1421) positioned,
// (102, 1420) a field is cut short; the outputs before it have their values by then. Passes other failures
// on.
MIM_EXPORT void mim_SetDelimsAndLimits(int *add_delimiter, int *t61, char *delimiter, char *reserved,
                                       int16_t *style, int16_t *mode);

// Closes `directory` unless it is 0 or equals `default_directory`; passes no failure on. Returns 0 when it
// was closed, else `directory`.
MIM_EXPORT int16_t mim_CloseMapDir(int16_t directory, int16_t default_directory);

// ---- Rules ----
//
// In a pattern, "$*" matches any run of characters, "$+" a run of at least one, "$_" a blank, "$$" a "$", and
// any other character itself, without regard to case; a "$" before anything else matches nothing. A wildcard
// is as short as the rest allows, and never ends inside a quoted string or a bracketed group. In a
// replacement, "$1" to "$9" stand for what the wildcards matched, "$_" and "$$" as in a pattern; "$@" at its
// start: apply once and stop; "$:": apply once.

// Applies one rule to `subject` (in-out, MIM_SUBJECT_SIZE bytes), up to MIM_MAX_APPLICATIONS times as long as
// `pattern` matches and `replacement` does not say otherwise. A result is cut at MIM_MAX_REWRITE characters.
// Sets `*stop` to 1 when the pattern of a "$@" rule matched, else to 0. Failure: memory exhausted, with the
// rewrites made so far.
MIM_EXPORT void mim_ProcessRule(char *subject, const char *pattern, const char *replacement, int *stop);

// Matches the whole of `subject` against `pattern`, and returns 1 or 0. When it matches, the place and the
// length of what the n-th wildcard matched are stored in element n - 1 of `starts` and `lengths`
// (MIM_CAPTURES elements each), counting `wildcards_passed` (from 0) wildcards as gone before; wildcards
// after the ninth record nothing. Elements without a wildcard, and all when it does not match, stay as they
// are. The time is bounded by the product of the two lengths. A long subject with quotes or brackets takes a
// block of memory for the time of the call. Failure: memory exhausted.
MIM_EXPORT int mim_MatchRulePattern(const char *subject, const char *pattern, const char **starts,
                                    int *lengths, int wildcards_passed);

// Returns the position of the first `target` in `text` outside quoted strings, comments, angle and square
// brackets, or -1. A backslash makes the next character ordinary. A delimiter that is itself the target is
// found, not opened.
MIM_EXPORT int mim_ScanArpaStrForSpecialChar(const char *text, char target);

// ---- Gateway domain map ----

// Looks up the map file `path` for the longest entry that is a whole-label suffix of `domain` ("@" when it is
// empty; the first MIM_MAX_TEXT characters count), without regard to case, and stores its attributes as
// mim_ArpaDomainReplace does. Of two equal entries the first holds. Returns 1 when attributes were stored,
// else 0. A recoverable failure while the file is read ends the reading, and the best entry found before it
// counts; a persistent one is passed on, and so are failures of the name service.
MIM_EXPORT int mim_ArpaDomainLookup(const char *path, const char *domain, char *orn, nm_index *index,
                                    int extend);

// Stores the attribute list `attributes` (KEYWORD$VALUE items with "." between them; in-out, cut apart in
// place) in the O/R name: C, ADMD, PRMD, O and up to four OU, of which the last is field 4. With `extend` not
// 0, the labels of `rest` (in-out, cut apart in place; null counts as empty) become further attributes below
// the last one given. Returns 1, or 0 with nothing stored: more than four OU, a label that is not a letter
// followed by letters, digits and "-", or more labels than there is room for.
MIM_EXPORT int mim_ArpaDomainReplace(char *orn, nm_index *index, char *attributes, char *rest, int extend);

// Returns 1 when `a` and `b` are equal without regard to case, else 0.
MIM_EXPORT int mim_StrCaseCmp(const char *a, const char *b);

// ---- Internet to X.400 ----

// Flags of mim_ArpaToORN2.
enum {
    MIM_FLAG_TNEF = 1,        // defaults are those of the TNEF gateway, not of the MIME gateway
    MIM_FLAG_COMMON_NAME = 2  // the surname becomes the common name too
};

// Turns an Internet address (RFC 822) into an O/R name in `orn` and `index` (out).
//
// The surname is what the rules of ~/sys/unixin.rules make of it (mim_GetSurnameFromArpaORN), without blanks
// at its ends; the routing fields are those of the longest entry in ~/sys/unixmap.gw for its domain, else
// those of the customisation key UAL_DEF_MIME_MN_OVERRIDE (in the character set UAL_DEF_MIME_MN_OVERRIDE_CS),
// else those of the default mail node (for MIM_FLAG_TNEF the keys with TNEF and that gateway's node); DDA 1
// is the type RFC-822 (ZTMEXT1 when UXI_DDATYPE_ZTMEXT begins with one of "TtYy1" or is empty) and the
// address exactly as received.
//
// The domain is sought in the first MIM_MAX_TEXT characters; DDA 1 holds all of a longer address too, and one
// that does not fit the O/R name is the failure (100, 905), with the fields stored by then. Passes failures
// on.
MIM_EXPORT void mim_ArpaToORN2(const char *address, char *orn, nm_index *index, unsigned char flags);

// The older entry: as mim_ArpaToORN2 with MIM_FLAG_TNEF when `tnef` is not 0, else with no flag.
MIM_EXPORT void mim_ArpaToORN(const char *address, char *orn, nm_index *index, int tnef);

// Makes the surname for an address: its text without quotes and backslashes, rewritten by ~/sys/unixin.rules,
// or the text of catalogue message 1413 when that leaves nothing; cut at MIM_MAX_SURNAME characters, with "."
// for every character but letters, digits and those of " '()+-/:=?.,". `surname` holds MIM_SURNAME_SIZE
// bytes. Failures of the rules file are swallowed; those of the catalogue are passed on.
MIM_EXPORT void mim_GetSurnameFromArpaORN(const char *address, char *surname);

// Copies the routing fields of the server's default mail node of `node_type` (7 TNEF gateway, 1 MIME gateway,
// which also stands in for any other), absent fields too, so that they empty the field. Without a node, logs
// message (102, 1423) and takes the O/R name "UNIX", which empties them all. Passes failures on.
MIM_EXPORT void mim_SetOrgUAddress(char *orn, nm_index *index, int node_type);

// Removes every backslash and double quote from `text`, in place; the result is cut at MIM_MAX_TEXT
// characters.
MIM_EXPORT void mim_RemoveQuotes(char *text);

// Turns each control character of `text` (1 to 31, but not 14, 15, 25, 27 and 29) into a blank and removes
// the blanks at both ends, in place. Null does nothing.
MIM_EXPORT void mim_SpaceTrimming(char *text);

// ---- X.400 domain map ----

// Looks up the map file `path` for the key that names most of the routing fields of the O/R name `orn`
// (in-out), as mim_MatchX400Domain tells; of two with one level the first holds. Writes the Internet domain
// into `domain` (MIM_TEXT_SIZE bytes): the fields that the key does not reach, from the lowest up, as labels,
// then the line's domain unless it is "@"; it may be empty. Then empties the routing fields (4 to 11) of
// `orn`, whose index the caller makes anew. Returns 1, or 0 with everything left as it was: no key matches, a
// field that should be a label is not a letter followed by letters, digits and "-", or the domain would be
// longer than MIM_MAX_TEXT characters. A recoverable failure while lines are read and matched ends that, and
// the best line found before it counts; a persistent one is passed on, and so are failures of the name
// service before and after.
MIM_EXPORT int mim_X400DomainLookup(const char *path, char *orn, char *domain);

// Matches the key of a map line (KEYWORD$VALUE items with "." between them; in-out, cut apart in place)
// against the routing fields: C, ADMD, PRMD, O and up to four OU, of which the last is field 4. Returns the
// level that the key reaches, 1 for C to 8 for a fourth OU, when each of the fields down to it equals its
// value without regard to case, or is absent where the key has none, the empty value, or "@"; else 0, and for
// a key without any of the keywords. Passes failures on.
MIM_EXPORT int mim_MatchX400Domain(const char *orn, nm_index *index, char *key);

// ---- O/R name formatting ----
//
// What stands for an O/R name in a local part is decided by four settings of the process, which every
// conversion to the Internet sets: the character mode and the name style (both 1 at start), the attribute
// delimiter ("/"), and whether it is added at the end (no).
//
// - Style 1, positional: Smith_John_P/Sales/Acme/us. Style 2, attributes: /S=Smith/G=John/O=Acme/C=us/. Style
//   3, and any other: John.P.Smith/O=Acme/C=us. Style 4: as 3 when the caller asks for a personal name,
//   else 2.
// - Mode 1: a character that may not stand in a local part becomes "#", a letter or a three-digit code, "#".
//   Mode 2: "$" before it, or {CODE}, and a name that needs it is quoted. Any other mode: quoted, with the
//   escapes of mode 1.
// - With `t61` not 0 the T.61 form of an attribute follows its plain form after a "*".
//
// Outputs hold MIM_TEXT_SIZE bytes and are overwritten. Where a text would pass MIM_MAX_TEXT characters it
// ends before the part (an attribute, an initial) that does not fit; what closes it still follows. Passes
// failures of the services on.

// Appends the text `src` to `dst` (in-out), converted for a local part by the character mode. `t61` not 0: an
// ESC in `src` and the character after it, from 0x40 to 0x5F, stand for a control character. The bytes 23 and
// 29 stay. Nothing more is appended once `dst` is longer than 1,018 characters. Which character is the
// delimiter is decided for the process at the first call.
MIM_EXPORT void mim_ConvSpecialChar(const char *src, char *dst, int t61);

// Writes one field.
MIM_EXPORT void mim_FormatFields(const char *orn, nm_index *index, int field, char *out, int t61);

// Writes the initials, each followed by ".": J.P.
MIM_EXPORT void mim_FormatInitials(const char *orn, nm_index *index, char *out, int t61);

// Writes the personal name: in style 1 surname, given name, initials and generation with "_" between them,
// without those at the end; else given name, initials, surname and generation: John.P.Smith.Jr.
MIM_EXPORT void mim_FormatPersonalName(const char *orn, nm_index *index, char *out, int t61);

// Writes the whole O/R name. Where it is of the numeric kind (nm.h) and the style 3 or 4, the style of the
// process becomes 2.
MIM_EXPORT void mim_FormatORN(const char *orn, char *out, int personal, int t61);

// The same two in `style` and `mode`, which stay the settings of the process.
MIM_EXPORT void mim_DoFormatPersonalName(const char *orn, nm_index *index, char *out, int16_t style,
                                         int16_t mode, int t61);
MIM_EXPORT void mim_DoFormatORN(const char *orn, char *out, int personal, int16_t style, int16_t mode,
                                int t61);

// ---- Internet address sources ----
//
// Customisation keys and the text of message (100, 7617) are read once per process, at the first use.

// Writes the Internet address recorded in the O/R name (field 130) into `out` (MIM_TEXT_SIZE bytes): the bare
// address, or with `keep_text` not 0 the whole text, of which the first MIM_MAX_TEXT characters count.
// Without an address there, a common name that is the mail system's (message (100, 7617), or as long as that
// and beginning with MAIL-SYSTEM) is written instead. `*from_system_name` (may be null) is 1 when that
// happened, else 0. Returns 1 when what was found is 7-bit text, else 0; `out` stays as it was without
// either, but for a text of field 130 that holds no address. Passes failures on.
MIM_EXPORT int mim_GetIA(const char *orn, char *out, int keep_text, int *from_system_name);

// Writes the value of the first domain-defined attribute of an accepted type (UXO_CHECK_TYPES_OF_DDA; else
// RFC-822, ZTMEXT1 to ZTMEXT4, and none) that has one into `out` (MIM_TEXT_SIZE bytes), cut at MIM_MAX_TEXT
// characters. Returns 1 when it is 7-bit text, else 0, and `out` is empty when there is none, or a type
// before it is longer than 20 characters. Passes failures on.
MIM_EXPORT int mim_GetDDA(const char *orn, char *out);

// Looks the O/R name up in the directory `directory` and writes the first value of the entry's attribute
// `attribute` into `out` (MIM_TEXT_SIZE bytes). The entry must hold all the name's attributes, to the letter
// or else without regard to case and blanks; when none does, those that INET_IA_RESOLVE_MASK names. Returns 1
// when exactly one entry was found and it has the attribute, in at most MIM_MAX_TEXT characters; else 0 with
// `out` as it was, and 0 at once when `mapping_on` or `directory` is 0. Logs (102, 1141) the address, or
// (102, 1142) that the name is ambiguous. A recoverable failure of the services gives 0; a persistent one is
// passed on.
MIM_EXPORT int mim_GetDirArpaORN(const char *orn, char *out, int mapping_on, int16_t directory,
                                 const char *attribute);

// Returns 1 when the O/R name is routable to the Internet gateway, else 0: it routes to the mail node UNIX;
// or it routes nowhere, UAL_GIVE_GROUP5_INET_NAME_STRICT is not true, and its first domain-defined attribute
// is of an accepted type and has a value. Passes failures on.
MIM_EXPORT int mim_RoutableToUnix(const char *orn);

// The same, but 0 at once for a name without a first domain-defined attribute, unless UAL_DO_LONG_INET_CHECK
// is defined.
MIM_EXPORT int mim_RoughRoutableToUnix(const char *orn);

// ---- X.400 to Internet ----

// Turns an O/R name into an Internet address (RFC 822) in `out` (MIM_TEXT_SIZE bytes), empty when there is
// none.
//
// - `routable` not 0: the name is routable to the Internet gateway (mim_RoutableToUnix).
// - `address_template` ("" for none): for a name that is not routable, its address: "$u" stands for the
//   formatted name, "$h" for the local host name.
// - `mapping_on`, `directory`, `attribute`: as mim_ChkMappingConfig gives them.
// - `add_delimiter`, `mode`, `style`, `delimiter`: the settings of the formatting from now on; `t61` as
// there.
// - `fallback` not 0: as last resorts the rules of ~/sys/unixout.rules and the formatted name may be used.
//
// The sources are, in this order: the template; for a routable name its domain-defined attributes and those
// of its entry in the directory; the directory; the line of ~/sys/unixmap.out for its domain, with the
// formatted name as local part; the last resorts. The address is reduced to the bare one, and one without a
// domain gets the local host's: HOSTNAME, else UXO_FQDN, else UAL_POP3_HOSTNAME, else the system's, which is
// read once per process, as INET_DISPLAY_IA_COMMENTS is. A source whose address would be longer than
// MIM_MAX_TEXT characters gives none; of one with just so many the parser reads the first MIM_MAX_ADDRESS.
//
// Returns 1 when the address came from a domain-defined attribute, the directory, the map for a routable
// name, or the rules, else 0, with an address or without. Passes failures on, but for recoverable ones of the
// directory and of the files.
MIM_EXPORT int mim_ConvORNToArpaORN(const char *orn, char *out, int routable, const char *address_template,
                                    int mapping_on, int16_t directory, const char *attribute,
                                    int add_delimiter, int16_t mode, int16_t style, char delimiter, int t61,
                                    int fallback);

// The same, with the Internet address recorded in the name (mim_GetIA) as the first source. `comments` not 0:
// display names and comments stay, those of that source unless INET_DISPLAY_IA_COMMENTS is false.
MIM_EXPORT int mim_ConvORNIaToArpaORN(const char *orn, char *out, int routable, const char *address_template,
                                      int mapping_on, int16_t directory, const char *attribute,
                                      int add_delimiter, int16_t mode, int16_t style, char delimiter, int t61,
                                      int fallback, int comments);

// Writes what the rules of ~/sys/unixout.rules make of `surname` (its first MIM_MAX_REWRITE + 1 characters)
// into `out` (MIM_TEXT_SIZE bytes); empty when the file cannot be opened or the result is longer than
// MIM_MAX_TEXT characters. Failures are swallowed.
MIM_EXPORT void mim_GetArpaORNFromSurname(const char *surname, char *out);

// Writes the bare Internet address under which the user of an O/R name is known in certificates into `out`
// (MIM_TEXT_SIZE bytes): the attribute 1300 of the user's entry in the mapping directory or the default one,
// else what mim_ConvORNToArpaORN makes of the name.
//
// The first call reads the configuration (mim_ChkMappingConfig with UXO_NAME_MAPPING, mim_SetDelimsAndLimits)
// and keeps it, with the directories that it opens, for the life of the process; when that fails, every call
// gives 0. `directory` is the default directory, 0 for the server's own; only the first call reads it.
// `reserved` is not read. `use_directory_name` not 0: the name in the user's entry takes the place of `orn`
// (may be null) in the conversion. Returns 1 when an address was written, else 0 with `out` (may be null) as
// it was. A recoverable failure gives 0; a persistent one is passed on.
MIM_EXPORT int mim_ConvORNToCertSMTP(const char *orn, char *out, int16_t directory, int reserved,
                                     int use_directory_name);

// ---- Message-id, date and address utilities ----

// Turns an X.400 message identifier into an RFC 822 message-id (RFC 2156, 2.3) in `out`, which holds the
// identifier, MIM_MAX_MESSAGE_ID characters of a formatted name, and 9 bytes more. `identifier` (in-out) may
// end in a byte 29 and the originator's O/R name, and is cut there. Its escapes (a), (p), (b), (q), (u), (l),
// (r) and (NNN), a decimal code up to 255, are decoded; when the first MIM_MAX_MESSAGE_ID characters of that
// hold an "@" and none of " ()<>,;:[]", they are the message-id, else the identifier as it stands, quoted
// where needed and with the formatted name after a "*", followed by "@MHS". A decoded identifier may hold any
// byte, CR and LF too: a caller that writes it into a header must look. Returns 1. Passes failures on.
MIM_EXPORT int mim_ConvMsgId(char *identifier, char *out);

// Writes the time `time`, in seconds since 1970-01-01 00:00 UTC, as the RFC 822 date of a place
// `offset_minutes` from UTC into `out` (MIM_DATE_SIZE bytes): Thu, 1 Jan 1970 00:00:00 +0000; cut to fit
// where the offset is 100 hours or more. Returns 1, or 0 with the empty text when there is no such date.
MIM_EXPORT int mim_ConvDateToArpa(uint32_t time, int16_t offset_minutes, char *out);

// Returns 1 when `address` has a character outside comments, else 0: an empty text, comments alone, or a ")"
// without a "(" before any such character. A backslash makes a parenthesis ordinary.
MIM_EXPORT int mim_IsValidArpaAddress(const char *address);

// Trims `text` (in-out) as mim_SpaceTrimming does, makes one of each run of blanks and tabs, its last one,
// and removes those before and after a comment.
MIM_EXPORT void mim_TrimCommentSpaces(char *text);

// Returns the bare Internet address recorded in the O/R name (field 130; its first MIM_MAX_TEXT bytes), or
// null. The library holds the text until the next call of this function. Passes failures on.
MIM_EXPORT const char *mim_ExtractIaFromORN(const char *orn);

// Returns the common name of the O/R name, in its T.61 form (field 96) where there is one, else field 32, or
// null. The library holds the text until the next call of this function. Passes failures on.
MIM_EXPORT const char *mim_ExtractCnFromORN(const char *orn);

// ---- Header words (RFC 2047) ----
//
// An encoded word is "=?", a character set, "?", B or Q in either case, "?", a text without "?", and "?=".
// The set's name is cut at its first "*" (the language of RFC 2231), and at 256 characters. The word may be
// of any length and hold anything else; what has not this shape is plain text. White space between two words
// is dropped, and stays anywhere else. Of the text of B, characters outside the alphabet are passed over; in
// Q, "=" with two characters behind it is a byte whatever they are. A zero byte that ends a word is dropped
// when it is the only one in it.
//
// A word that cannot be read stays as it stands, with the white space before it: one whose bytes cannot be
// converted without loss, or one in UTF-8 whose bytes are not. Bytes of plain text above 127 stay, too.

// Decodes the header value `text` and appends the result to `out`, an initialised string.
//
// - `convert` not 0: `charset` (in) is the character set that the result is to be in.
// - `convert` 0: the result's set is that of the first word, US-ASCII without one, or UTF-8 when there are
//   words of another set or with zero bytes. `charset` (out, may be null; MIM_CHARSET_SIZE bytes) receives
//   its name (cvc_iconvCharsetEquiv). Where the set changes, all that `out` holds is converted as well as can
//   be.
//
// In both modes `charset` may hold "DECODEIT" at entry: then words that cannot be converted become the bytes
// that they stand for; only those in UTF-8 that are not UTF-8 stay. Passes failures on.
MIM_EXPORT void mim_2047_to_string_and_cset_dstring(const char *text, dstring *out, char *charset,
                                                    int convert);

// Decodes `text` without converting it, as above, into `out`, which holds as many bytes as `text` with its
// terminator: a longer result, and one that holds a zero byte, is cut. `charset` (in-out, may be null) is as
// above. For a null `text` the result is empty, and its set "US-ASCII"; `out` may then be null, and `charset`
// is left alone. Passes failures on; `out` is then empty.
MIM_EXPORT void mim_DecodeMimeCharStr(const char *text, char *out, char *charset);

// The same, then converts the result into the character set `target_charset`. When that is not possible
// without loss, or the result would be longer than four times the length of `text`, the result stays in its
// own set, and nothing tells the caller. A zero byte that UTF-7 hides ends the converted result. `out` holds
// four times the length of `text`, and the terminator. Passes failures on; `out` is then empty or holds the
// unconverted result.
MIM_EXPORT void mim_ConvertMimeCharStr(const char *text, char *out, const char *target_charset);

// Returns the two header values joined (each may be null), as encoded words of Q in the set of both, or in
// UTF-8 when they differ in it. When one is null or empty, or their texts have no UTF-8 form without loss,
// they are joined as they stand. The library holds the result until the next call of this function. Passes
// failures on.
MIM_EXPORT const char *mim_joinRfc2047Strings(const char *first, const char *second);

// Encodes the words of the header value `value` anew, with the encoding Q or B (either case), into `out`, an
// initialised string that is empty. Its plain text becomes part of the words. A value without encoded words,
// and any with another encoding, is copied. `encoder_argument` is how many characters of the first line are
// taken (inet_encodeHeader). Passes failures on.
MIM_EXPORT void mim_reEncodeRfc2047String(const char *value, char encoding, int32_t encoder_argument,
                                          dstring *out);

// Returns 1 when the two header values (each may be null) carry the same text, character by character, else
// 0: how it is encoded does not matter. Null is the same as null only. Passes failures on.
MIM_EXPORT int mim_equivRfc2047Strings(const char *first, const char *second);

// Writes the header value `value` (may be null: empty) into `out`, which holds `size` bytes, and returns
// `out`. A value that does not fit becomes one encoded word in UTF-8, in Q or base64, with as many whole
// characters of its text as fit, or the empty text when `size` is below 13. Nothing at all is written when
// `size` is 0. Passes failures on; `out` is then empty.
MIM_EXPORT char *mim_truncate_2047_string(const char *value, uint32_t size, char *out);

// ---- Bodies (RFC 2045) ----

// Decodes one part of a message as it arrives (RFC 5321, 4.5.2): lines end in LF or CR LF, a line that begins
// with ".." has lost neither of its dots yet, and a line "." ends the message. What is read is one line of at
// most 1,023 bytes at a time; a longer one counts as several.
//
// - `in`, `out`: the streams (os.h).
// - `encoding`: "QUOTED-PRINTABLE", "BASE64" or "X-UUENCODE", without regard to case; any other copies the
// lines.
// - `boundary`, `closing_boundary` (each may be null or empty): the whole lines that end the part.
// - `message_end` (out): 1 when the line "." ended the part, else 0.
// - `closing_boundary_seen` (out): 1 when the closing boundary did, else 0.
// - `crlf` not 0: quoted-printable writes its line ends CR LF, else LF, as plain lines always.
//
// A line end is written between lines, and after the last only where the message ended. Malformed text never
// fails: in quoted-printable it is copied; in base64 a character of no digit ends its group, and a line with
// "=" is the last; of uuencoded text only the first block counts, up to a line that is too short for its
// count, and what a line lacks at its end counts as blanks. A NUL byte is a byte like any other. Decoding
// also ends, in silence, where a line cannot be written. Takes no memory. Passes failures on.
MIM_EXPORT void mim_DecodeMimeFile(os_file *in, os_file *out, const char *encoding, const char *boundary,
                                   const char *closing_boundary, int *message_end, int *closing_boundary_seen,
                                   int crlf);

// Decodes uuencoded text (POSIX uuencode) in the same way. `out` may be null: then decoding ends at the first
// line of data. Sets the flags to 1 as above, but not to 0. Lines that cannot be written are lost.
MIM_EXPORT void mim_DecodeUUencodeFile(os_file *in, os_file *out, const char *boundary,
                                       const char *closing_boundary, int *message_end,
                                       int *closing_boundary_seen);

// Which bytes may stand as they are in quoted-printable: 1 for tab and for 0x20 to 0x7E without "=", else 0.
// Anybody may change it, for the whole process; LF is a line end whatever its entry says. Encoding with
// `header_mode` sets the entries of "?" and "_" to 0, for good.
MIM_EXPORT extern int safe_char[256];

// Encodes a body.
//
// - `fd_in`, `fd_out`: with `text` null, the descriptors that it is read from and written to (os_read,
// os_write),
//   in blocks of at most 1,024 bytes.
// - `encoding`: "QUOTED-PRINTABLE", "BASE64", or "7BIT", which clears the high bit of each byte; any other
//   passes bytes on as they are. Without regard to case.
// - `guard` (may be null): for the last two, a string of which no line after the first is to begin with, such
//   as a MIME boundary: a line that does, and holds no blank, gets one at its end.
// - `text`: a text to encode instead, whole, into `out` (MIM_ENCODED_SIZE bytes), terminated: from 4,088
//   characters on the rest is dropped. Null for descriptors, and then `out` is not used.
// - `header_mode` not 0: quoted-printable as in header words ("_" for a blank).
// - `crlf` not 0: line ends are written CR LF, else LF, and then a "." that begins a line is doubled by the
//   encodings that pass bytes on.
// - `at_line_start` not 0: `text` begins a line, for the encodings that pass bytes on.
// - `fold` not 0: base64 of a descriptor is broken into lines of 72 characters; quoted-printable lines get
//   soft line breaks, and are at most 75 characters long.
//
// `*total_out` and `*lines_out` are the bytes produced and the line ends among them, modulo 2^32. Encoding
// ends early, in silence, where a block cannot be written whole, which counts all the same; at a descriptor
// that cannot be read on as at its end. Takes no memory. Passes failures on.
MIM_EXPORT void mim_EncMimeData2(int fd_in, int fd_out, const char *encoding, const char *guard,
                                 const char *text, char *out, int header_mode, int crlf, int at_line_start,
                                 unsigned *total_out, unsigned *lines_out, int fold);

// The same without the counts.
MIM_EXPORT void mim_EncodeMimeData(int fd_in, int fd_out, const char *encoding, const char *guard,
                                   const char *text, char *out, int header_mode, int crlf, int at_line_start,
                                   int fold);

// The same for descriptors, in body mode and folded, with the counts and without.
MIM_EXPORT void mim_EncMimeFile2(int fd_in, int fd_out, const char *encoding, const char *guard, int crlf,
                                 unsigned *total_out, unsigned *lines_out);
MIM_EXPORT void mim_EncodeMimeFile(int fd_in, int fd_out, const char *encoding, const char *guard, int crlf);

// ---- Header encoding (RFC 2047) ----

// Returns how many characters `text` takes encoded: mode B, base64; mode Q, quoted-printable by `safe_char`,
// whose entries of "?" and "_" it sets to 0; any other, as it is.
MIM_EXPORT unsigned mim_GetEncLen(const char *text, char mode);

// Writes the beginning of `text` as one encoded word, which holds as many of its characters as fit. Called
// again with what is left it writes the next one: between two words a header line can be folded.
//
// - `text`, `text_len`: the text, in the character set `cs`. It ends at a NUL byte too.
// - `out`: receives the word, terminated, or the empty text when not one character fits; it holds `max_len` +
// 1
//   bytes, and 1 at least. A word has at most 4,131 characters, however great `max_len`.
// - `max_len`: the most characters of the word, of which one more of `text` would need some, as would the way
//   back to ASCII in a set that switches state.
// - `start`: not 0 where a value begins; 0 where `text` is what the call before has left.
// - `cs`: the set (ccs_GetCSDescriptor), the same for all words of a value.
// - `mode`: B (base64), Q (quoted-printable as in header words), or N for plain pieces without the form of a
//   word; nothing else.
// - `charset_name` (may be null): the set's name in the word, of which MIM_MAX_WORD_CHARSET characters count;
//   null for the MIME name (mim_GetCharSetName), and UNKNOWN-8BIT for an empty descriptor.
// - `crlf`, `at_line_start`: as for mim_EncMimeData2. A line end in `text` is written as one in modes Q and
// N.
//
// Returns where in `text` the next word begins, or null when nothing is left, and always when `want_rest` is
// 0. When the word is empty although something is left, `max_len` is too small for the next character.
//
// Each word begins and ends in ASCII. How a word resumes where the one before was cut in a set that switches
// state is kept in the process until a call with `start`, so the words of one value must be written without
// others between them. Takes no memory. Passes failures on.
MIM_EXPORT const char *mim_EncodeFold(const char *text, int text_len, char *out, int max_len, int start,
                                      ccs_descriptor *cs, char mode, int want_rest, const char *charset_name,
                                      int crlf, int at_line_start);

// ---- Xtext (RFC 3461), pattern lists, text encodings ----

// Appends the xtext form of `text` (RFC 3461, 4) to the text in `out`, which has room for three bytes for
// each of `text` and a terminator: "+XX" for "+", "=" and every byte outside 33 to 126. Returns 0.
MIM_EXPORT int mim_XtextString(const char *text, char *out);

// Decodes xtext into `destination` (strlen(source) + 1 bytes): "+" and two hexadecimal digits of either case
// are the byte that they spell, "+00" the zero byte too; any other character is itself. Returns 0.
MIM_EXPORT int mim_DecodeXtextString(const char *source, char *destination);

// Returns the name of the transfer encoding (RFC 2045, 6) of a text body: for `choice` B (of either case)
// "base64", for N "7bit" when the server's character set `charset_name` switches state by escape sequences,
// else "8bit", for any other "quoted-printable"; and for IA5 always "7bit". Static text. Passes failures on.
MIM_EXPORT const char *mim_GetTextEncoding(char choice, const char *charset_name);

// An entry of a list of address patterns, which the caller owns.
struct mim_user_pattern {
    const struct mim_user_pattern *next;  // null in the last one
    const char *pattern;                  // local part, "@" and domain; without a domain, or with an empty
                          // local part, any. A "*" in the local part stands for the rest of it
    int32_t value;
};

// Returns the value of the first entry of `list` (may be null) whose pattern `address` (may be null) matches,
// without regard to case; 0 when there is none. Both are split at their first "@"; an address without one has
// no domain, and no pattern with a domain matches it.
MIM_EXPORT int32_t mim_catchUser(const char *address, const struct mim_user_pattern *list);

// ---- Character-set names ----
//
// The table is ~/sys/mime.cs: lines SERVER-NAME MIME-NAME, of at most 15 and 31 characters. It is read at the
// first call and kept for the life of the process; when a failure ends the reading, the lines before it are
// the table. After that, looking up allocates nothing. Names are compared without regard to case, and the
// first line that fits counts.

// Translates the name of a character set; the first argument that is not null is the one that counts.
//
// - `internal_name` (may be null): the server's name. The result is the MIME name in the first line that has
//   it, be it in its first place or its second; else the name that the conversion service gives
//   (cvc_iconvCharsetEquiv); else "US-ASCII" for IA5, "ISO-8859-15" for ISO8859_15 and the like, and what is
//   behind "MIME-".
// - `mime_name` (may be null): the MIME name. The result is the server's name in the first line that has it
//   in its second place; else what is behind "x-korvan-", or IA5 for US-ASCII.
//
// A name without any of these is returned as it is, and logged (100, 24149) unless the conversion service can
// convert from it. Returns null only for two null arguments. The result has at most 31 characters, cut where
// it would have more. It is valid until the next call, but for a name of the table, which stays. Passes
// failures on.
MIM_EXPORT const char *mim_GetCharSetName(const char *internal_name, const char *mime_name);

// Sets the charset parameter of the Content-Type value `content_type` (RFC 2045, 5.1) to `charset_name`, or,
// with `convert` not 0, to the MIME name of that (mim_GetCharSetName). The parameter's old value goes with
// its quotes, and with what is between it and the next ";"; a missing parameter is added at the end. Returns
// the new value, cut at MIM_CONTENT_TYPE_SIZE - 1 characters and valid until the next call. Passes failures
// on.
MIM_EXPORT char *mim_InsertNewCSName(const char *content_type, const char *charset_name, int convert);

// Converts a text into the first of the acceptable character sets that loses nothing.
//
// - `text`: the text in UTF-8.
// - `text_charset`: the character set that it counts as being in.
// - `chosen_charset` (out, CCS_NAME_SIZE bytes, cut to fit): the set of the result: the server's name, as far
//   as it is known, of the one that was chosen, else the preferred name of `text_charset`.
// - `candidates` (may be null): MIME names with a comma between them, without blanks; empty ones are passed
//   over.
//
// The search ends in vain at a candidate that is the set of the text itself. Returns `text` when it was not
// converted, else a text that is valid until the next conversion (cvc_CnvString). Passes failures on.
MIM_EXPORT char *mim_CnvStringTo1stLossless(char *text, const char *text_charset, char *chosen_charset,
                                            const char *candidates);

// ---- Types and file names ----
//
// The server has a number for each kind of attachment. The table is ~/sys/mime.types: lines NUMBER ENCODING
// TYPE/SUBTYPE with up to five file extensions behind them; the encoding begins with b, q, n, 7 or 8. A type
// or subtype "*" fits any, and such a line is only for looking an extension up. The table is read at the
// first call and kept for the life of the process; when a failure ends the reading, the lines before it are
// the table. After that, looking up allocates nothing. Names are compared without regard to case, and the
// first line that fits counts. These functions pass failures on.
//
// A number without a line has the content type application/x-korvan-NNNN, with four digits or more, and 0 is
// application/octet-stream.

// Stores the number of the first line with the extension of `file_name` (may be null), which is all behind
// its first ".", in `*type`; 0 when there is none.
MIM_EXPORT void mim_FileExtToKVType(const char *file_name, int *type);

// Writes the header "Content-Type: " of the number `type` into `out` (MIM_TYPE_HEADER_SIZE bytes), without a
// line end. Where a line gives it, "; charset=" and the MIME name of `charset` (a server's name; may be null
// or empty) stand behind it.
MIM_EXPORT void mim_KVToMimeType(int type, const char *charset, char *out);

// Finds the number for a Content-Type value.
//
// - `content_type`: the value, which may begin with the header's name and a colon.
// - `file_name` (may be null): the attachment's, which may hold encoded words. A lengthy one of more than
//   1,023 characters is decoded whole too, in a block of memory for the time of the call.
// - `charset` (out, CCS_NAME_SIZE bytes; may be null): the server's name (mim_GetCharSetName) of the
//   character set that the value names; empty when it names none.
// - `type` (out): the number of the first line with the value's type and subtype, or with a "*" for one of
//   them or both and the extension of the file, which is all behind its last "."; else the number in
//   application/x-korvan-NNNN; else 0.
MIM_EXPORT void mim_MimeToKVType(const char *content_type, const char *file_name, char *charset, int *type);

// Writes the content type of the number `type`, "type/subtype", into `out` (MIM_MIME_TYPE_SIZE bytes).
MIM_EXPORT void mim_getMimeType(int type, char *out);

// Returns the first extension of the number `type`, without its dot, or ".bin". Valid for the life of the
// process.
MIM_EXPORT const char *mim_getFileExt(int type);

// Returns the first letter of the encoding of the number `type`, "b" when it has no line.
MIM_EXPORT char mim_getEncoding(int type);

// Returns 1 when `c` may stand in a short file name, else 0: a letter, a digit, or one of "!#$%-@^_".
MIM_EXPORT int mim_ValidFnameChar(char c);

// Makes a file name of at most eight characters, a dot and an extension of at most four. `name` (may be null)
// stays as it is when it is one, in ISO 8859-1 or ASCII and of valid characters alone; without an extension
// it gets ".TXT" when `type` is 1736 or 1167, else ".BIN". In place of any other base stands a letter, A for
// the first call of the process, B for the second, and after Z A again, used or not. An empty name gives the
// extension alone, and one that ends in "." keeps that. Returns the short name, valid until the next call.
// When the service that tells the character set fails, the name has the letter, and a persistent failure is
// passed on.
MIM_EXPORT char *mim_MakeFname8dot3(const char *name, int type);

#ifdef __cplusplus
}
#endif

#endif
