// mim explain: the decisions behind a conversion, in the order in which the library takes them.

#include "explain.h"

#include <functional>
#include <utility>

#include "both_ways.h"

namespace tool {

namespace {

class Explain : public Conversion {
  public:
    Explain(Session &session, BothWaysOptions options)
        : session_(session), ways_(session, std::move(options)) {}

    // The longest of both kinds: what is too long for an address is found in convert.
    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }
    [[nodiscard]] bool writes_blocks() const override { return true; }

    // The conversion goes first, and what it reports is reported; the steps that follow ask the same things
    // again in silence.
    void convert(const char *item, Answer &answer) override {
        if (!ways_.read(item, orn_, answer.fault)) {
            return;
        }
        if (ways_.is_name(item)) {
            convert_name(answer);
        } else {
            convert_address(item, answer);
        }
    }

  private:
    void convert_address(const char *address, Answer &answer) {
        answer_orn(orn_, answer);
        Explanation explanation;
        {
            const Session::Silence silence{session_};
            explain_address(address, ways_.flags(), steps_orn_, explanation);
        }
        const std::string_view got = orn_.text.data();
        nm_FormatText(steps_orn_.text.data(), steps_orn_.form.data(), NM_TEXT_SIZE);
        finish(got == steps_orn_.text.data(), steps_orn_.form.data(), explanation, answer);
    }

    void convert_name(Answer &answer) {
        const bool routable = ways_.to_internet().is_routable(orn_.text.data());
        const std::string address = ways_.convert(orn_);
        if (!address.empty()) {
            answer.set(address);
        } else {
            answer.miss("no address");
        }
        Explanation explanation;
        std::string found;
        {
            const Session::Silence silence{session_};
            found = explain_name(orn_, routable, ways_.to_internet(), session_, explanation);
        }
        finish(found == address, found, explanation, answer);
    }

    // An explanation that leads elsewhere is worse than none, and says so.
    void finish(bool agrees, std::string_view led_to, Explanation &explanation, Answer &answer) {
        if (!agrees) {
            explanation.add("fault", "the steps above do not lead there, but to " + in_quotes(led_to));
            session_.note(Exit::kFailed);
        }
        explanation.write(answer);
    }

    Session &session_;
    BothWays ways_;
    OrName orn_{};
    OrName steps_orn_{};
};

}  // namespace

void add_explain(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app =
        add_command(parent, "explain", "Show how addresses and O/R names are converted, step by step");
    const std::function<BothWaysOptions()> options = add_both_ways_options(*app);
    const CLI::Option *items = add_items(*app, "ITEM");
    commands.push_back({app, [=](Session &session) {
                            require_home_of_both_ways();
                            Explain conversion{session, options()};
                            convert_items(session, items_of(items), conversion);
                        }});
}

}  // namespace tool
