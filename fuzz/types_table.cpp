// ~/sys/mime.types. The library reads it once for the life of the process; here its table is made anew for
// each case, and searched as well as looked up.

#include "mim/types.cpp"

#include "fuzz.h"
#include "temp_home.h"

FUZZ_TARGET(types_table) {
    static TempHome home;
    const std::string first = in.text();
    const std::string second = in.text();
    const std::string extension = in.text();
    home.write("mime.types", in.rest());
    Table table;
    mim::make_table<kLineCapacity>(table, kTableFile);
    const auto expect_row = [&table](const Row *row, const auto &is_wanted) {
        std::uint32_t i = 0;
        while (i < table.rows.size() && !is_wanted(table.rows[i])) {
            ++i;
        }
        fuzz::expect(row == (i < table.rows.size() ? &table.rows[i] : nullptr),
                     "the first line that fits counts");
    };
    for (const int number : {leading_number(first), table.rows.size() > 0 ? table.rows[0].number : 0}) {
        expect_row(table.find_by_number(number),
                   [=](const Row &row) { return row.number == number && !row.is_wildcard(); });
    }
    expect_row(table.find_by_extension(extension),
               [&](const Row &row) { return !extension.empty() && row.has_extension(extension); });
    expect_row(table.find_by_content(first, second, extension), [&](const Row &row) {
        const bool is_any = row.type.view() == "*" || row.subtype.view() == "*";
        const auto fits = [](const auto &own, const std::string &name) {
            return own.is(name) || own.view() == "*";
        };
        return (row.type.is(first) && row.subtype.is(second)) ||
               (is_any && !extension.empty() && fits(row.type, first) && fits(row.subtype, second) &&
                row.has_extension(extension));
    });
    for (std::uint32_t i = 0; i < table.rows.size(); ++i) {
        const Row &row = table.rows[i];
        fuzz::expect(!row.type.empty() && !row.subtype.empty() && kEncodings.contains(row.encoding),
                     "a row is whole", row.type.view());
    }
}
