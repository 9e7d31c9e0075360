// O/R names into Internet addresses, each in a process of its own: the host's name and more is read once.

#include <random>

#include "dr.h"
#include "er_capture.h"
#include "fresh_process.h"
#include "mdc.h"
#include "orn_name.h"
#include "os.h"
#include "temp_home.h"

namespace {

// The result and the address. Options: r routable, n no fallback, i and c the recorded address too, c with
// comments, d the directory, t T.61 forms, 1, 2 and 4 the style (else 3), m mode 2, ";" as delimiter.
std::string convert(const std::string &orn, std::string_view options, const std::string &form = "") {
    const LogCapture log;  // kept from the system's
    const auto has = [options](char option) { return options.find(option) != std::string_view::npos ? 1 : 0; };
    const std::int16_t directory = has('d') != 0 ? dr_OpenDir(0, DR_READ, "", "") : std::int16_t{0};
    const auto style = static_cast<std::int16_t>(3 - 2 * has('1') - has('2') + has('4'));
    const auto mode = static_cast<std::int16_t>(1 + has('m'));
    const char delimiter = has(';') != 0 ? ';' : '/';
    std::string text = answer([&](char *out) {
        return has('i') + has('c') != 0
                   ? mim_ConvORNIaToArpaORN(orn.c_str(), out, has('r'), form.c_str(), 1, directory, "167", 0, mode,
                                            style, delimiter, has('t'), 1 - has('n'), has('c'))
                   : mim_ConvORNToArpaORN(orn.c_str(), out, has('r'), form.c_str(), 1, directory, "167", 0, mode,
                                          style, delimiter, has('t'), 1 - has('n'));
    });
    mim_CloseMapDir(directory, 0);
    return text;
}

// The same for "OPTIONS TEMPLATE /NAME".
std::string convert_text(const std::string &text) {
    const std::size_t form = text.find(' ') + 1;
    const std::size_t name = text.find(" /");
    return convert(parsed(text.substr(name + 1)).orn.data(), text.substr(0, form),
                   text.substr(form, std::max(name, form) - form));
}

TEST(ConvORNToArpaORN, LeavesByEachSource) {
    TempHome home{{"customise", "HOSTNAME=h.x\n"},
                  {"unixmap.out", "C$us.O$acme#acme.x#\nC$us.O$bare#@#\n"},
                  {"directory/default.ldif",
                   "dn: 1\nS: D\n167: J <j@x>\n\ndn: 2\nS: E\nDD.RFC-822: e@x\n167: no@x\n\n"
                   "dn: 3\nS: F\nDD.FOO: f@x\n167: f@x\n"}};
    expect_fresh(R"(i /IA=J D <j@x>/ -> 0 j@x | c /IA=J D <j@x>/ -> 0 J D <j@x> | c /IA=J D <j>/ -> 0 J D <j@h.x>
        i /CN=MAIL-SYSTEM/ -> 0 MAIL-SYSTEM | - /S=s/IA=j@x/ -> 0 s@h.x | rc /IA=j@x/DD.RFC-822=d@x/ -> 0 j@x
        - $u@$h /S=s/G=g/C=us/ -> 0 g.s/C=us@h.x | - $x$y$$u$ /S=s/ -> 0 $x$ys@h.x | n $ /S=s/O=acme/C=us/ -> 0
        rd /DD.RFC-822=J D <j@x>/ -> 1 j@x | r $u /DD.RFC-822=j@x/ -> 1 j@x | rc /DD.RFC-822=J <j@x>/ -> 1 J <j@x>
        r /DD.RFC-822=j\x0d\x0a@x\x0a/ -> 1 j@x | r /DD.RFC-822=list:;/ -> 1 list:; | r /DD.RFC-822=j/ -> 1 j@h.x
        r /DD.RFC-822=~F6@x/ -> 0 ~F6@x | r /DD.RFC-822=a^1020/ -> 1 a^1020@h.x | r /DD.RFC-822=a^1021/ -> 1 a^1021
        rd /S=E/ -> 1 e@x | rd /S=F/ -> 1 f@x | d /S=E/ -> 1 no@x | d /S=D/ -> 1 j@x | dcn /S=D/ -> 1 J <j@x>
        r /S=s/G=g/I=i/OU1=u/O=acme/C=us/ -> 1 g.i.s@u.acme.x | rn1 /S=s/G=g/O=bare/C=us/ -> 1 s_g@h.x
        4 /S=s/CN=c/O=acme/C=us/ -> 0 s/CN=c@acme.x | 2; /S=s/CN=c/O=acme/C=us/ -> 0 ;S=s;CN=c;@acme.x
        m /S=s t/O=acme/C=us/ -> 0 "s t"@acme.x | t /S=s/T61.S=t/O=acme/C=us/ -> 0 s*t@acme.x | n /S=s/O=acme/C=us/ -> 0
        - /S=s/O=bare/C=us/ -> 0 s@h.x | r /O=bare/C=us/ -> 1 .@h.x | r /S=s.t/O=o/ -> 0 s#f#t/O=o@h.x
        rn /S=s/ -> 0 | - /S=s/ -> 0 s@h.x | n /S=s/ -> 0 | 1 / -> 0 _@h.x | - /S=s^1000/CN=c^20/O=acme/C=us/ -> 0 s^1000/O=acme/C=us@h.x
        - $u$u$u /S=s^400/O=acme/C=us/ -> 0 s^400@acme.x)",
                 convert_text);
    home.write("unixout.rules", "s.t#\n$+ $@$1@r.x");
    home.write("customise", "HOSTNAME=h.x\nINET_DISPLAY_IA_COMMENTS=no\n");
    expect_fresh(R"(r /S=s.t/O=o/ -> 1 s.t@r.x | r /S=s/O=acme/C=us/ -> 1 s@acme.x | - /S=s/O=o/ -> 0 s/O=o@h.x
        rn /S=s/ -> 0 | r /G=g/O=o/ -> 0 g./O=o@h.x | r /S=s/CN=c/ -> 1 s@r.x
        c /IA=J D <j@x>/ -> 0 j@x | rc /DD.RFC-822=J D <j@x>/ -> 1 J D <j@x>)",
                 convert_text);
}

TEST(ConvORNToArpaORN, KnowsTheHostsName) {
    TempHome home;
    std::array<char, 64> host{};
    std::array<char, 64> official{};
    os_gethostname(host.data(), 64);
    const bool is_known = mdc_gethostbyname(host.data(), official.data(), 64) != 0 && official[0] != '\0';
    EXPECT_EQ(in_fresh_process([] { return convert("s", ""); }),
              std::string{"0 s@"} + (is_known ? official : host).data());
    expect_fresh(
        R"(UAL_POP3_HOSTNAME=pop -> 0 s@pop | UXO_FQDN=fqdn~0AUAL_POP3_HOSTNAME=pop -> 0 s@fqdn
        UXO_FQDN=fqdn~0AHOSTNAME=host -> 0 s@host | HOSTNAME=h^64 -> 0 s@h^63)",
        [&home](const std::string &customise) {
            home.write("customise", customise);
            std::string text = convert("s", "");
            home.write("customise", "HOSTNAME=other");
            EXPECT_EQ(convert("s", ""), text);
            return text;
        });
}

// Makes every text that can be made of a name: whatever it holds, they fit their buffers.
void make_every_text(const std::string &orn) {
    nm_index index;
    nm_ParseORN(orn.c_str(), &index, nullptr);
    const auto text = [](const auto &call) { return written(MIM_TEXT_SIZE, call); };
    for (std::int16_t setting = 0; setting < 40; ++setting) {
        const auto style = static_cast<std::int16_t>(setting % 5);
        const auto mode = static_cast<std::int16_t>(setting / 5 % 4);
        const int t61 = setting / 20;
        const std::string whole = text([&](char *out) { mim_DoFormatORN(orn.c_str(), out, 1, style, mode, t61); });
        EXPECT_TRUE(whole[0] != '"' || whole.find('"', 1) != std::string::npos) << "not closed: " << whole;
        text([&](char *out) { mim_DoFormatPersonalName(orn.c_str(), &index, out, style, mode, t61); });
        text([&](char *out) { mim_FormatInitials(orn.c_str(), &index, out, t61); });
        text([&](char *out) { mim_FormatFields(orn.c_str(), &index, setting, out, t61); });
    }
    for (const char *options : {"i", "c1", "r4", "rcm2", "t", "rt2m"}) {
        convert(orn, options);
        convert(orn, options, "<$u$u@$h>");
    }
    text([&](char *out) { mim_GetIA(orn.c_str(), out, 1, nullptr); });
    text([&](char *out) { mim_GetDDA(orn.c_str(), out); });
    text([&](char *out) { mim_GetArpaORNFromSurname(orn.c_str(), out); });
    mim_ExtractIaFromORN(orn.c_str());
    mim_ExtractCnFromORN(orn.c_str());
    std::string identifier = orn.substr(0, 100) + "\x1D" + orn;
    written(100 + MIM_MAX_MESSAGE_ID + 9, [&](char *out) { mim_ConvMsgId(identifier.data(), out); });
}

TEST(ConvORNToArpaORN, NoNameOverrunsAText) {
    const TempHome home{{"customise", "HOSTNAME=h"},
                        {"unixmap.out", "ADMD$@.C$@#@#\nC$@#d#\n"},
                        {"unixout.rules", "$*a$* $1$1b$2\n"}};
    in_fresh_process([] {
        std::mt19937 random{20240601};
        for (std::size_t field = 0; field < NM_FIELD_COUNT; ++field) {
            const std::size_t blocks = std::min<std::size_t>(field / 32, 2);
            const std::string before = std::string(blocks, '\x17') + std::string(field - 32 * blocks, '\x1D');
            make_every_text(before + std::string(NM_ORN_SIZE - 1 - before.size(), "a \xE9\"="[field % 5]));
        }
        for (int i = 0; i < 1000; ++i) {
            std::string orn(random() % (i % 4 == 0 ? NM_ORN_SIZE : 300), '\0');
            for (char &c : orn) {
                constexpr std::string_view kBytes = "\x1D\x1D\x1D\x17\x1B\"\\@<>(),:;_ aA0.";
                const std::size_t choice = random() % (kBytes.size() + 4);
                c = choice < kBytes.size() ? kBytes[choice] : static_cast<char>(random() % 255 + 1);
            }
            make_every_text(orn);
        }
        return "";
    });
}

TEST(ConvORNToArpaORN, GivesBackEveryAddress) {
    const TempHome home{{"customise", "HOSTNAME=h"}, {"unixin.rules", "$*@$* $@$1\n"}, {"unixmap.gw", "@#C$us#\n"}};
    in_fresh_process([] {
        std::mt19937 random{822};
        const auto pick = [&random](std::string_view characters, std::size_t most) {
            std::string text;
            for (std::size_t n = 1 + random() % most; n > 0; --n) {
                text += characters[random() % characters.size()];
            }
            return text;
        };
        for (int i = 0; i < 10'000; ++i) {
            const std::string local =
                i % 3 == 0 ? '"' + pick("ab (),;<>@.\t", 12) + '"' : pick("abc.!%+-_\xE9#$*", 12);
            const std::string address = local + "@" + pick("abcxyz-09", 9) + "." + pick("abc", 3);
            const std::string forms[] = {address, pick("abc \xC3", 20) + " <" + address + ">",
                                         address + " (" + pick("ab ", 9) + ")",
                                         '"' + pick("a, b<>@:", 9) + "\" <@r1,@r2:" + address + ">"};
            OrnName name;
            mim_ArpaToORN2(forms[i % 4].c_str(), name.orn.data(), &name.index, 0);
            const std::string want = written(MIM_ADDRESS_SIZE, [&](char *out) {
                mim_parse_address(forms[i % 4].c_str(), nullptr, out, nullptr, nullptr, nullptr);
            });
            EXPECT_TRUE(want.ends_with(address)) << want;
            EXPECT_EQ(convert(name.orn.data(), "ri").substr(2), want) << forms[i % 4];
        }
        return "";
    });
}

}  // namespace
