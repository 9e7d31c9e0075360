// mim roundtrip: there and back, and what changed on the way.

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>

#include "both_ways.h"
#include "changes.h"
#include "mim.h"
#include "rows.h"
#include "text/ascii.h"

namespace tool {

namespace {

class RoundTrip : public Conversion {
  public:
    RoundTrip(Session &session, BothWaysOptions options)
        : session_(session), phrases_(options.internet.comments), ways_(session, std::move(options)) {}

    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }
    [[nodiscard]] std::size_t result_columns() const override { return 2; }

    void convert(const char *item, Answer &answer) override {
        if (!ways_.read(item, orn_, answer.fault)) {
            return;
        }
        const bool is_name = ways_.is_name(item);
        if (!is_name) {
            add(form_of(orn_), "there", answer);
        }
        const std::string address = ways_.convert(orn_);
        if (address.empty()) {
            answer.miss(is_name ? "no address" : "no address back");
            return;
        }
        add(address, is_name ? "there" : "result", answer);
        if (!is_name) {
            finish(changes_of_address(item, address, Comparison::kLoose, phrases_), answer);
            return;
        }
        ways_.convert(address.c_str(), back_);
        add(form_of(back_), "result", answer);
        take_record_off(address);
        finish(changes_of_name(orn_, back_, Comparison::kLoose), answer);
    }

  private:
    static std::string_view form_of(OrName &orn) {
        const int length = nm_FormatText(orn.text.data(), orn.form.data(), NM_TEXT_SIZE);
        return {orn.form.data(), static_cast<std::size_t>(length)};
    }

    static void add(std::string_view text, std::string_view member, Answer &answer) {
        answer.add_column(text);
        if (answer.as_json && member == "result") {
            *answer.result = text;
        } else if (answer.as_json) {
            answer.details[member] = text;
        }
    }

    // Every name that was made from an address records it in its first domain-defined attribute, and with
    // --cn the surname once more. Where the name had no such attribute, that is no change.
    void take_record_off(const std::string &address) {
        const std::string type{field_text(back_, NM_DDA1_TYPE)};
        bool has_type = false;
        for (int field = NM_DDA1_TYPE; field < NM_DDA4_VALUE; field += 2) {
            has_type = has_type || (text::equal_ignoring_case(field_text(orn_, field), type) &&
                                    !field_text(orn_, field + 1).empty());
        }
        if (!has_type && field_text(back_, NM_DDA1_VALUE) == address) {
            empty(NM_DDA1_TYPE);
            empty(NM_DDA1_VALUE);
        }
        if ((ways_.flags() & MIM_FLAG_COMMON_NAME) != 0 && field_text(orn_, NM_COMMON_NAME).empty()) {
            empty(NM_COMMON_NAME);
        }
    }
    void empty(int field) { nm_PutFieldStr(back_.text.data(), &back_.index, field, ""); }

    void finish(const std::vector<Change> &changes, Answer &answer) {
        answer.status = "same";
        if (!changes.empty()) {
            answer.status = "changed: " + parts_of(changes);
            session_.note(Exit::kNoResult);
        }
        if (answer.as_json) {
            answer.details["changed"] = json_of(changes);
        }
    }

    Session &session_;
    bool phrases_;
    BothWays ways_;
    OrName orn_{};
    OrName back_{};
};

}  // namespace

void add_roundtrip(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "roundtrip", "Convert there and back, and tell what changed");
    const std::function<BothWaysOptions()> options = add_both_ways_options(*app);
    const CLI::Option *items = add_items(*app, "ITEM");
    commands.push_back({app, [=](Session &session) {
                            require_home_of_both_ways();
                            RoundTrip conversion{session, options()};
                            convert_items(session, items_of(items), conversion);
                        }});
}

}  // namespace tool
