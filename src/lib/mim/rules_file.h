// Applying rules: one rule to a subject, and a rules file to a text.
#ifndef MIM_RULES_FILE_H
#define MIM_RULES_FILE_H

namespace mim {

// Applies the rules of the file `path` in file order to `text`, in `subject` (out, MIM_SUBJECT_SIZE bytes;
// the first MIM_SUBJECT_SIZE - 1 characters of `text`). `prepare` may change the subject before the first
// rule. The subject is empty when the file cannot be opened; a failure while it is read ends the reading and
// keeps the rewrites made so far.
void apply_rules_file(const char *path, const char *text, void (*prepare)(char *subject), char *subject);

}  // namespace mim

#endif
