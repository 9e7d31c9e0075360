// Content types, character sets and file names, with the example home's tables.

#include <array>

#include "ccs.h"
#include "cvc.h"
#include "fuzz.h"
#include "mim.h"
#include "word_reference.h"

namespace {

// All that a number gives.
std::string names_of(int type, const fuzz::Copy &charset) {
    const std::string mime =
        fuzz::written(MIM_MIME_TYPE_SIZE, [&](char *out) { mim_getMimeType(type, out); });
    const std::string header =
        fuzz::written(MIM_TYPE_HEADER_SIZE, [&](char *out) { mim_KVToMimeType(type, charset, out); });
    fuzz::expect(header.starts_with("Content-Type: " + mime), "a header holds the type", header, mime);
    return header + fuzz::text_of(mim_getFileExt(type)) + mim_getEncoding(type);
}

void check_type(const std::string &content, const std::string &file, const std::string &label) {
    const auto number_of = [&](std::string &charset) {
        int type = -1;
        charset = fuzz::written(MIM_CHARSET_SIZE, [&](char *out) {
            mim_MimeToKVType(fuzz::Copy{content}, fuzz::Copy{file}, out, &type);
        });
        return type;
    };
    std::string charset;
    const int type = number_of(charset);
    std::string again;
    int by_extension = -1;
    mim_FileExtToKVType(fuzz::Copy{file}, &by_extension);
    const std::string names = names_of(type, fuzz::Copy{label});
    names_of(by_extension, fuzz::Copy{charset});
    fuzz::expect(number_of(again) == type && again == charset, "a type is the same again", again, charset);
    fuzz::expect_equal(names_of(type, fuzz::Copy{label}), names, "a type's names are the same again");
    fuzz::expect(charset.size() < CCS_NAME_SIZE, "a set's name is short", charset);
    const std::string mime = names.substr(14, names.find(';') - 14);
    int back = -1;
    if (mime.starts_with("application/x-korvan-")) {
        mim_MimeToKVType(fuzz::Copy{"application/x-korvan-" + std::to_string(type)}, nullptr, nullptr, &back);
        fuzz::expect(back == type, "a number comes back from its private type", content);
    }
}

void check_charset(const std::string &name, const std::string &content) {
    constexpr std::size_t kMaxName = 31;
    for (const bool is_mime : {false, true}) {
        const fuzz::Copy copy{name};
        char *const server = is_mime ? nullptr : static_cast<char *>(copy);
        const auto translated = [&] { return std::string{mim_GetCharSetName(server, copy)}; };
        const std::string got = translated();
        fuzz::expect(got.size() <= kMaxName, "a set's name is short", got);
        fuzz::expect_equal(translated(), got, "a set's name is the same again");
    }
    const std::string got = mim_InsertNewCSName(fuzz::Copy{content}, "N", 0);
    fuzz::expect(got.size() < MIM_CONTENT_TYPE_SIZE, "a value is cut", got);
    if (got.size() < MIM_CONTENT_TYPE_SIZE - 1 && got.find('"') == std::string::npos) {
        fuzz::expect(got.find("=N") != std::string::npos, "a value has the set", got);
        fuzz::expect_equal(mim_InsertNewCSName(fuzz::Copy{got}, "N", 0), got, "a set that is there stays");
    }
}

void check_lossless(const std::string &text, const std::string &candidates) {
    const fuzz::Copy copy{text};
    std::string found;
    const std::string chosen = fuzz::written(CCS_NAME_SIZE, [&](char *out) {
        found = mim_CnvStringTo1stLossless(copy, "UTF8", out, fuzz::Copy{candidates});
    });
    if (const auto original = converted(text, "UTF8", "UTF8", CVC_EXACT); original && found != text) {
        // Some characters share a place in an East Asian set.
        const auto back = converted(found, chosen, "UTF8", CVC_EXACT);
        fuzz::expect(back && (*back == text || converted(*back, "UTF8", chosen, CVC_EXACT) == found),
                     "nothing is lost", found, chosen);
    }
    const std::string encoding = mim_GetTextEncoding(candidates.empty() ? 'x' : candidates[0], copy);
    constexpr std::string_view kEncodings = "|7bit|8bit|base64|quoted-printable|";
    fuzz::expect(kEncodings.find("|" + encoding + "|") != kEncodings.npos, "an encoding is one of four",
                 encoding);
}

void check_short_name(const std::string &name, int type) {
    constexpr std::size_t kMaxBase = 8;
    constexpr std::size_t kMaxExtension = 4;
    const std::string got = mim_MakeFname8dot3(fuzz::Copy{name}, type);
    const std::size_t dot = got.find('.');
    fuzz::expect(got.size() < MIM_SHORT_NAME_SIZE && dot <= kMaxBase && got.size() - dot - 1 <= kMaxExtension,
                 "a name is short", got);
    for (std::size_t i = 0; i < got.size(); ++i) {
        fuzz::expect(i == dot || mim_ValidFnameChar(got[i]) == 1, "a name has the characters of one", got);
    }
    fuzz::expect(got.find("..") == std::string::npos, "no name leads elsewhere", got);
}

}  // namespace

FUZZ_TARGET(types) {
    fuzz::use_example_home_once();
    constexpr std::array kTypes{0, 1736, 1167, 1201, 7};
    const std::size_t kind = in.below(4);
    const std::size_t choice = in.below(kTypes.size());
    const std::string first = in.text();
    const std::string second = in.text();
    if (kind == 0) {
        check_type(first, second, in.text());
    } else if (kind == 1) {
        check_charset(first, second);
    } else if (kind == 2) {
        check_lossless(first, second);
    } else {
        check_short_name(first, kTypes[choice]);
    }
}
