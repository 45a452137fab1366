#ifndef ORV_HTTP_INFLATER_H
#define ORV_HTTP_INFLATER_H

#include <cstddef>
#include <string>
#include <vector>

// Inflates an answer body that came with "Content-Encoding: gzip" or
// "deflate", for Qt builds on which the kit asks for compression itself
// (Qt then leaves the body as it came). Like Qt 5's own decoding it takes a
// gzip or zlib stream, falls back to a raw deflate stream, and keeps what
// inflated from a stream cut short.
class OrvHttpInflater
{
public:
    // Larger answers are refused rather than held in memory.
    static constexpr size_t MAX_INFLATED_SIZE = 64u * 1024u * 1024u;

    // True for the encodings inflate() takes ("gzip", "deflate"; any case).
    static bool handles(const std::string& contentEncoding);
    // Replaces body with its inflated form; false (body unchanged) when the
    // stream is corrupt or would inflate beyond limit bytes.
    static bool inflate(std::vector<unsigned char>& body, size_t limit = MAX_INFLATED_SIZE);
};

#endif
