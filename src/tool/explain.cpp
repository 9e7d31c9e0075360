// mim explain: the decisions behind a conversion, in the order in which the library takes them.

#include "explain.h"

#include <optional>

#include "home_files.h"
#include "mim.h"
#include "to_x400.h"

namespace tool {

namespace {

class Explain : public Conversion {
  public:
    // `only_addresses`: an item that begins with "/" is an address, too.
    Explain(Session &session, bool only_addresses, unsigned char flags, InternetOptions options)
        : session_(session),
          only_addresses_(only_addresses),
          flags_(flags),
          conversion_(session, std::move(options)) {}

    // The longest of both kinds: what is too long for an address is found in convert.
    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }
    [[nodiscard]] bool writes_blocks() const override { return true; }

    void convert(const char *item, Answer &answer) override {
        if (*item == '/' && !only_addresses_) {
            convert_name(item, answer);
        } else {
            convert_address(item, answer);
        }
    }

  private:
    // The conversion goes first, and what it reports is reported; the steps that follow ask the same things
    // again in silence.
    void convert_address(const char *address, Answer &answer) {
        if (std::string_view{address}.size() > MIM_MAX_TEXT) {
            answer.miss("longer than " + std::to_string(MIM_MAX_TEXT) + " characters");
            return;
        }
        mim_ArpaToORN2(address, orn_.text.data(), &orn_.index, flags_);
        answer_orn(orn_, answer);
        Explanation explanation;
        {
            const Session::Silence silence{session_};
            explain_address(address, flags_, steps_orn_, explanation);
        }
        const std::string_view got = orn_.text.data();
        nm_FormatText(steps_orn_.text.data(), steps_orn_.form.data(), NM_TEXT_SIZE);
        finish(got == steps_orn_.text.data(), steps_orn_.form.data(), explanation, answer);
    }

    void convert_name(const char *item, Answer &answer) {
        if (!read_orn(item, orn_, answer.fault)) {
            return;
        }
        const bool routable = conversion_.is_routable(orn_.text.data());
        conversion_.convert(orn_.text.data(), routable);
        const std::string address = conversion_.address();
        if (!address.empty()) {
            answer.set(address);
        } else {
            answer.miss("no address");
        }
        Explanation explanation;
        std::string found;
        {
            const Session::Silence silence{session_};
            found = explain_name(orn_, routable, conversion_, session_, explanation);
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
    bool only_addresses_;
    unsigned char flags_;
    InternetConversion conversion_;
    OrName orn_{};
    OrName steps_orn_{};
};

}  // namespace

void add_explain(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app =
        add_command(parent, "explain", "Show how addresses and O/R names are converted, step by step");
    const CLI::Option *only_addresses =
        add_flag(*app, "--address", "Take items that begin with / for Internet addresses, too");
    const std::function<unsigned char()> flags = add_x400_options(*app);
    const std::function<InternetOptions()> options = add_internet_options(*app);
    const CLI::Option *items = add_items(*app, "ITEM");
    commands.push_back({app, [=](Session &session) {
                            require_home({kInboundRules, kGatewayMap, kDomainMap, kOutboundRules});
                            Explain conversion{session, is_set(only_addresses), flags(), options()};
                            convert_items(session, items_of(items), conversion);
                        }});
}

}  // namespace tool
