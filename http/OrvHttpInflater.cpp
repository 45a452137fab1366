#include "http/OrvHttpInflater.h"

#include <zlib.h>

#include <algorithm>
#include <cctype>

namespace {

// Cut: the input ended before the stream did; what inflated so far stands.
enum class Outcome { Done, Cut, Broken, TooLarge };

// windowBits: MAX_WBITS + 32 takes gzip or zlib, -MAX_WBITS a raw stream.
Outcome run(const std::vector<unsigned char>& in, std::vector<unsigned char>& out, size_t limit, int windowBits)
{
    z_stream stream{};
    if (inflateInit2(&stream, windowBits) != Z_OK)
        return Outcome::Broken;
    out.clear();
    stream.next_in = const_cast<Bytef*>(in.data());
    stream.avail_in = static_cast<uInt>(in.size());
    unsigned char chunk[16384];
    int status = Z_OK;
    Outcome outcome = Outcome::Broken;
    for (;;) {
        stream.next_out = chunk;
        stream.avail_out = sizeof chunk;
        status = ::inflate(&stream, Z_NO_FLUSH);
        const size_t produced = sizeof chunk - stream.avail_out;
        if (out.size() + produced > limit) {
            outcome = Outcome::TooLarge;
            break;
        }
        out.insert(out.end(), chunk, chunk + produced);
        if (status == Z_STREAM_END) {
            outcome = Outcome::Done;
            break;
        }
        if (status == Z_BUF_ERROR && stream.avail_in == 0) {
            outcome = Outcome::Cut;
            break;
        }
        if (status != Z_OK)
            break;
    }
    inflateEnd(&stream);
    return outcome;
}

} // namespace

bool OrvHttpInflater::handles(const std::string& contentEncoding)
{
    std::string name;
    for (char c : contentEncoding)
        if (!std::isspace(static_cast<unsigned char>(c)))
            name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return name == "gzip" || name == "deflate";
}

bool OrvHttpInflater::inflate(std::vector<unsigned char>& body, size_t limit)
{
    // Body sizes beyond uInt never reach here: answers are far smaller than 4 GiB.
    // As Qt 5: a stream that fails before any output is tried once more as
    // raw deflate; one that is cut short yields what inflated until then.
    std::vector<unsigned char> out;
    Outcome outcome = run(body, out, limit, MAX_WBITS + 32);
    if (outcome == Outcome::Broken && out.empty())
        outcome = run(body, out, limit, -MAX_WBITS);
    if (outcome != Outcome::Done && outcome != Outcome::Cut)
        return false;
    body.swap(out);
    return true;
}
