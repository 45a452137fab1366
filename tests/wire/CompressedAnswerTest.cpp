// Answers compressed by the server reach the application inflated, as Qt 5
// decodes them by itself; a Qt 6 build asks for the same encodings and
// inflates them in the kit. Encodings the kit did not ask for go through as
// they came; a failed check fails the reply, a stream cut short yields what
// inflated until the cut (both as Qt 5 does).
#include "ServiceFixture.h"
#include "WireRecorder.h"

#include <QtGlobal>

#include <zlib.h>

namespace {

using CompressedAnswerTest = ServiceFixture;

// windowBits 31: gzip, 15: zlib ("deflate" as most servers send it), -15: raw deflate.
std::string compressed(const std::string& text, int windowBits)
{
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string out(deflateBound(&stream, static_cast<uLong>(text.size())) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(&out[0]);
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

TEST_F(CompressedAnswerTest, GzipAndDeflateArriveInflatedOtherEncodingsAsTheyCame)
{
    const std::string body = "{\"summary\":\"" + std::string(3000, 'x') + "\\u00e9\"}";
    std::string gzip = compressed(body, 31);
    std::string badCheck = gzip;
    badCheck[badCheck.size() - 6] = static_cast<char>(badCheck[badCheck.size() - 6] ^ 0x5A);
    struct Case { const char* name; std::string encoding, sent; uint8_t code; std::string received; };
    std::vector<Case> cases = {
        {"gzip", "gzip", gzip, 0, body},
        {"zlib deflate", "deflate", compressed(body, 15), 0, body},
        {"raw deflate", "deflate", compressed(body, -15), 0, body},
        {"upper case", "GZIP", gzip, 0, body},
        {"not asked for", "br", "\x0b\x02\x80{}\x03", 0, "\x0b\x02\x80{}\x03"},
        {"bad check", "gzip", badCheck, RESULT_REPLY_NOT_USABLE, ""},
        {"cut short", "gzip", gzip.substr(0, gzip.size() / 2), 0, body.substr(0, 1045)},
    };
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    // Qt 5 would hold it all; the kit refuses what inflates beyond 64 MiB.
    cases.push_back({"beyond the bound", "gzip", compressed(std::string(64 * 1024 * 1024 + 1, ' '), 31),
                     RESULT_REPLY_NOT_USABLE, ""});
#endif
    size_t next = 0;
    WireRecorder server("cloud", pki().server().certificatePem, pki().server().privateKeyPem, "",
                        [&](const std::string&, const std::string&) {
                            const auto& c = cases[next];
                            return WireRecorder::Answer{200, c.sent, c.encoding};
                        });
    ASSERT_TRUE(server.start());
    openKit(allAt(OrvKitPreferences(), server.origin()));
    for (next = 0; next < cases.size(); ++next) {
        const auto& c = cases[next];
        SCOPED_TRACE(c.name);
        const Message answer = last(CMD_GET_INFO_SUMMARY, {0});
        if (c.code == 0) {
            EXPECT_EQ(answer.id, MSG_INFO_SUMMARY_RESULT);
            EXPECT_EQ(textOf(answer.payload), c.received);
        } else {
            EXPECT_EQ(answer.id, MSG_RESULT_ERROR);
            EXPECT_EQ(answer.payload, Bytes{c.code});
        }
    }
}

} // namespace
