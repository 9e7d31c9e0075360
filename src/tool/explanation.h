// The steps of a decision, as mim explain shows them.
#ifndef TOOL_EXPLANATION_H
#define TOOL_EXPLANATION_H

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "rows.h"

namespace tool {

struct Step {
    std::string kind;                // a word or two, the same for all steps of a kind
    std::string text;                // what was found
    std::vector<std::string> notes;  // what else there is to know
    JsonValue facts;                 // an object whose members go with them in JSON, or null
};

class Explanation {
  public:
    // Adds a step; the reference stays good.
    Step &add(std::string_view kind, std::string text);

    // Writes the steps: as numbered lines with the notes below each, or in JSON as the member "steps".
    void write(Answer &answer) const;

  private:
    std::deque<Step> steps_;
};

// `text` between quotes, one line whatever it holds.
[[nodiscard]] std::string in_quotes(std::string_view text);

// How many of what there are: "1 rule", "2 rules".
[[nodiscard]] std::string counted(std::size_t count, std::string_view noun);

// Adds a note for each of the first few of `texts`, behind `label`, and one that tells how many follow.
void add_few(Step &step, std::string_view label, const std::vector<std::string> &texts);

}  // namespace tool

#endif
