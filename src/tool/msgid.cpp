// mim msgid: X.400 message identifiers to RFC 822 message-ids.

#include <array>
#include <string_view>

#include "commands.h"
#include "mim.h"
#include "orn_text.h"
#include "rows.h"
#include "text/writer.h"

namespace tool {

namespace {

constexpr char kOriginatorMark = '\x1D';

class MsgId : public Conversion {
  public:
    // `originator` is the O/R name that follows each identifier, or empty.
    explicit MsgId(std::string_view originator) : originator_(originator) {}

    [[nodiscard]] std::size_t longest_item() const override { return MIM_MAX_MESSAGE_ID; }

    void convert(const char *item, Answer &answer) override {
        if (!originator_.empty() && std::string_view{item}.find(kOriginatorMark) != std::string_view::npos) {
            answer.miss("holds an originator of its own");
            return;
        }
        text::Writer identifier{identifier_.data(), identifier_.size()};
        identifier.append(std::string_view{item});
        if (!originator_.empty()) {
            identifier.append(kOriginatorMark);
            identifier.append(originator_);
        }
        identifier.finish();
        mim_ConvMsgId(identifier_.data(), message_id_.data());
        answer.set(message_id_.data());
    }

  private:
    std::string originator_;
    std::array<char, MIM_MAX_MESSAGE_ID + 1 + NM_ORN_SIZE> identifier_{};
    // What the function asks for beside the identifier and the formatted name: 9 bytes.
    std::array<char, 2 * MIM_MAX_MESSAGE_ID + 9> message_id_{};
};

}  // namespace

void add_msgid(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "msgid", "Turn X.400 message identifiers into message-ids");
    const CLI::Option *originator = add_value(
        *app, "--originator", "NAME", "The O/R name of the originator", [](const std::string &text) {
            OrName orn{};
            std::string fault;
            return read_orn(text.c_str(), orn, fault) ? std::string{} : fault;
        });
    const CLI::Option *identifiers = add_items(*app, "IDENTIFIER");
    commands.push_back({app, [=](Session &session) {
                            OrName orn{};
                            if (const std::optional<std::string> name = value_of(originator)) {
                                // The option's check has read it already.
                                nm_ParseText(name->c_str(), orn.text.data(), &orn.index, nullptr);
                            }
                            MsgId conversion{orn.text.data()};
                            convert_items(session, items_of(identifiers), conversion);
                        }});
}

}  // namespace tool
