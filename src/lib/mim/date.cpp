// RFC 822 dates.

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "frame.h"
#include "mim.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;

constexpr std::array<const char *, 7> kDays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char *, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr int kMinutesPerHour = 60;
constexpr std::size_t kLongestText = 96;  // of a date whose numbers were any that their types hold

// Every count of seconds that 32 bits hold is a date, in 64-bit arithmetic. The zone of an absurd offset may
// have more than four digits, and is cut.
void write_date(std::uint32_t time, int offset_minutes, char *out) {
    namespace chrono = std::chrono;
    const chrono::sys_seconds local =
        chrono::sys_seconds{chrono::seconds{time}} + chrono::minutes{offset_minutes};
    const auto midnight = chrono::floor<chrono::days>(local);
    const chrono::year_month_day date{midnight};
    const chrono::hh_mm_ss clock{local - midnight};
    const int zone = std::abs(offset_minutes);
    std::array<char, kLongestText> text{};
    std::snprintf(text.data(), text.size(), "%s, %u %s %04d %02d:%02d:%02d %c%02d%02d",
                  kDays[chrono::weekday{midnight}.c_encoding()], static_cast<unsigned>(date.day()),
                  kMonths[static_cast<unsigned>(date.month()) - 1], static_cast<int>(date.year()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()), offset_minutes >= 0 ? '+' : '-',
                  zone / kMinutesPerHour, zone % kMinutesPerHour);
    text::copy_text(text.data(), out, MIM_DATE_SIZE);
}

}  // namespace

int mim_ConvDateToArpa(uint32_t time, int16_t offset_minutes, char *out) {
    return mim::traced<TraceClass::kMain>(__func__, [&] {
        write_date(time, offset_minutes, out);
        return *out != '\0' ? 1 : 0;
    });
}
