// Steps as text and as JSON.

#include "explanation.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "escape.h"

namespace tool {

namespace {

constexpr std::size_t kFew = 3;
constexpr std::string_view kStepIndent = "  ";
constexpr std::string_view kNoteIndent = "       ";

Json as_json(const Step &step) {
    Json object{{"step", step.kind}, {"text", step.text}};
    if (step.facts->is_object()) {
        object.update(*step.facts);
    }
    if (!step.notes.empty()) {
        object["notes"] = step.notes;
    }
    return object;
}

}  // namespace

Step &Explanation::add(std::string_view kind, std::string text) {
    return steps_.emplace_back(Step{std::string{kind}, std::move(text), {}, {}});
}

void Explanation::write(Answer &answer) const {
    if (answer.as_json) {
        Json array = Json::array();
        std::transform(steps_.begin(), steps_.end(), std::back_inserter(array), as_json);
        answer.details["steps"] = std::move(array);
        return;
    }
    std::size_t number = 0;
    for (const Step &step : steps_) {
        answer.lines += kStepIndent;
        answer.lines += std::to_string(++number) + ". " + step.kind + ": ";
        append_escaped(answer.lines, step.text, kColumnSpecials);
        answer.lines += '\n';
        for (const std::string &note : step.notes) {
            answer.lines += kNoteIndent;
            append_escaped(answer.lines, note, kColumnSpecials);
            answer.lines += '\n';
        }
    }
}

std::string in_quotes(std::string_view text) {
    std::string out{"\""};
    append_escaped(out, text, kQuotedSpecials);
    return out += '"';
}

std::string counted(std::size_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string{noun} + (count == 1 ? "" : "s");
}

void add_few(Step &step, std::string_view label, const std::vector<std::string> &texts) {
    const std::size_t shown = std::min(texts.size(), kFew);
    for (std::size_t i = 0; i < shown; ++i) {
        step.notes.push_back(std::string{label} + " " + texts[i]);
    }
    if (texts.size() > shown) {
        step.notes.push_back("and " + std::to_string(texts.size() - shown) + " more");
    }
}

}  // namespace tool
