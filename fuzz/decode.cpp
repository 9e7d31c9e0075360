// Bodies decoded: as byte by byte, however the stream is cut.

#include <array>

#include "body_decode_reference.h"
#include "body_streams.h"
#include "fuzz.h"
#include "kept_file.h"
#include "mim.h"

namespace {

using body_decode::Part;
using body_decode::Result;

Result decode_from(const Part &part, int from, bool is_uuencode) {
    Result result{{}, is_uuencode ? 0 : 7, is_uuencode ? 0 : 7};
    const int to = fuzz::kept_file(1, {});
    os_file *in = os_fdopen(from, "r");
    os_file *out = os_fdopen(to, "w");
    fuzz::expect(fuzz::succeeds([&] {
                     if (is_uuencode) {
                         mim_DecodeUUencodeFile(in, out, part.boundary, part.closing, &result.message_end,
                                                &result.closing_seen);
                     } else {
                         mim_DecodeMimeFile(in, out, part.encoding.c_str(), part.boundary, part.closing,
                                            &result.message_end, &result.closing_seen, part.crlf);
                     }
                 }),
                 "a body is decoded");
    os_fclose(in);
    os_fclose(out);
    result.out = content_of(to);
    return result;
}

void expect_result(const Result &got, const Result &want, const char *promise) {
    fuzz::expect_equal(got.out, want.out, promise);
    fuzz::expect(got.message_end == want.message_end && got.closing_seen == want.closing_seen, promise);
}

// The same with reads that bring at most `size` bytes.
Result decode_in_pieces(const Part &part, std::size_t size) {
    auto [in, out] = packets();
    constexpr std::size_t kMostPackets = 40;  // for each takes room in the socket beside its bytes
    size = std::max(size, part.in.size() / kMostPackets + 1);
    for (std::string_view rest{part.in}; !rest.empty(); rest.remove_prefix(std::min(size, rest.size()))) {
        const std::string_view piece = rest.substr(0, size);
        fuzz::expect(
            send(out, piece.data(), piece.size(), MSG_DONTWAIT) == static_cast<ssize_t>(piece.size()),
            "a piece is sent");
    }
    out.close();
    return decode_from(part, in, false);
}

}  // namespace

FUZZ_TARGET(decode) {
    constexpr std::array kEncodings{"quoted-printable", "base64", "x-uuencode", "7bit"};
    constexpr std::array<const char *, 4> kBoundaries{"--b", nullptr, "", "."};
    const std::size_t encoding = in.below(kEncodings.size());
    const std::size_t boundaries = in.below(kBoundaries.size());
    const int crlf = in.flag();
    const std::size_t piece = in.below(64);
    const std::size_t repeats = piece % 8 == 7 ? in.below(64) : 0;  // for bodies past the buffers
    const std::string text = in.rest();
    Part part{kEncodings[encoding], "", crlf, kBoundaries[boundaries],
              boundaries == 0 ? "--b--" : kBoundaries[(boundaries + 1) % 4]};
    for (std::size_t i = 0; i <= repeats * 4; ++i) {
        part.in += text;
    }
    const Result want = body_decode::Reference{part}.run();
    expect_result(decode_from(part, fuzz::kept_file(0, part.in), false), want,
                  "a body is decoded as byte by byte");
    if (part.encoding == "x-uuencode") {
        expect_result(decode_from(part, fuzz::kept_file(0, part.in), true), want,
                      "uuencoded text is decoded in the same way");
    } else if (piece > 32) {
        expect_result(decode_in_pieces(part, piece - 32), want, "it does not matter how a stream is cut");
    }
}
