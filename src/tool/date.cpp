// mim date: seconds since 1970 to RFC 822 dates.

#include <array>
#include <cstdint>

#include "commands.h"
#include "mim.h"
#include "numbers.h"
#include "rows.h"

namespace tool {

namespace {

class Date : public Conversion {
  public:
    explicit Date(std::int16_t offset) : offset_(offset) {}

    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override {
        const auto seconds = read_number<std::uint32_t>(item);
        std::array<char, MIM_DATE_SIZE> date{};
        if (!seconds) {
            answer.miss(not_a_number<std::uint32_t>());
        } else if (mim_ConvDateToArpa(*seconds, offset_, date.data()) == 0) {
            answer.miss("no such date");
        } else {
            answer.set(date.data());
        }
    }

  private:
    std::int16_t offset_;
};

}  // namespace

void add_date(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "date", "Turn seconds since 1970-01-01 00:00 UTC into dates");
    const CLI::Option *offset =
        add_number(*app, "--offset", "MINUTES", "Write the date of a place so far from UTC");
    const CLI::Option *times = add_items(*app, "SECONDS");
    commands.push_back({app, [=](Session &session) {
                            Date conversion{number_of(offset).value_or(0)};
                            convert_items(session, items_of(times), conversion);
                        }});
}

}  // namespace tool
