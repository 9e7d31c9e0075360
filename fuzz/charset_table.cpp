// ~/sys/mime.cs. The library reads it once for the life of the process; here its table is made anew for each
// case, and searched as well as looked up.

#include "mim/charset_names.cpp"

#include "fuzz.h"
#include "temp_home.h"

FUZZ_TARGET(charset_table) {
    static TempHome home;
    const std::string name = in.text();
    home.write("mime.cs", in.rest());
    Table table;
    mim::make_table<kLineCapacity>(table, kTableFile);
    const Row *any = nullptr;
    const Row *mime = nullptr;
    for (std::uint32_t i = table.rows.size(); i-- > 0;) {
        const Row &row = table.rows[i];
        fuzz::expect(!row.server.empty() && !row.mime.empty(), "a row is whole", row.server.view(),
                     row.mime.view());
        mime = row.mime.is(name) ? &row : mime;
        any = row.server.is(name) || row.mime.is(name) ? &row : any;
    }
    fuzz::expect(table.find_by_any_name(name) == any, "the first line with a name counts", name);
    fuzz::expect(table.find_by_mime_name(name) == mime, "the first line with a MIME name counts", name);
}
