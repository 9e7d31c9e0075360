// mim: conversions between Internet mail and an X.400-style mail server.
//
// This header is the reference of libmim. It is C11 and C++20. What holds for every function:
//
// - Text arguments are zero-terminated, and bytes above 127 are ordinary characters. A pointer may be null
//   only where that is said. Buffers of one call must not overlap. The capacities that are given count the
//   terminator; no function ever writes beyond them.
// - Letter case, white space and letters are those of ASCII, whatever the locale.
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

#include "nm.h"

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
    MIM_MAX_SURNAME = 40         // characters of it
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
// are. The time is bounded by the product of the two lengths. Up to a few hundred characters take no memory;
// beyond, a block for the time of the call. Failure: memory exhausted.
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
// The surname is what the rules of ~/sys/unixin.rules make of it (mim_GetSurnameFromArpaORN); the routing
// fields are those of the longest entry in ~/sys/unixmap.gw for its domain, else those of the customisation
// key UAL_DEF_MIME_MN_OVERRIDE (in the character set UAL_DEF_MIME_MN_OVERRIDE_CS), else those of the default
// mail node (for MIM_FLAG_TNEF the keys with TNEF and that gateway's node); DDA 1 is the type RFC-822
// (ZTMEXT1 when UXI_DDATYPE_ZTMEXT begins with one of "TtYy1" or is empty) and the address exactly as
// received.
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

#ifdef __cplusplus
}
#endif

#endif
