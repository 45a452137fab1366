// Command bytes as the application hands them over: the login block through
// storeAccessoryInfo, and the byte codec that takes every command apart,
// called with offsets and values chosen by the input (far past the end too).
#include "FuzzRecordList.h"

#include "OrvServerServiceProbe.h"
#include "util/OrvArrayUtils.h"

#include <OrvKit.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

typedef std::vector<unsigned char> Bytes;

// The zero-terminated run at offset, or nothing when offset is past the end.
bool runAt(const Bytes& bytes, size_t offset, std::string& run)
{
    if (offset > bytes.size())
        return false;
    size_t end = offset;
    while (end < bytes.size() && bytes[end] != 0)
        ++end;
    run.assign(bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.begin() + static_cast<std::ptrdiff_t>(end));
    return true;
}

void checkAccessoryInfo(OrvServerServiceProbe& service, const Bytes& block)
{
    service.storeAccessoryInfo(block);
    const OrvAccessoryInfo& info = service.accessoryInfoView();

    std::string fields[4];
    size_t offset = 1;
    bool complete = !block.empty();
    for (std::string& field : fields) {
        if (!complete || !runAt(block, offset, field) || field.empty()) {
            complete = false;
            break;
        }
        offset += field.size() + 1;
    }
    if (complete) {
        fuzzCheck(info.makerCode == block[0], "maker byte stored");
        fuzzCheck(info.model == fields[0] && info.deviceNo == fields[1] && info.loginId == fields[2] &&
                      info.password == fields[3],
                  "identity strings stored in order");
    } else {
        fuzzCheck(info.makerCode == 0 && info.model.empty() && info.deviceNo.empty() && info.loginId.empty() &&
                      info.password.empty(),
                  "incomplete block wipes the identity");
    }
    const std::string& id = info.loginId;
    const bool testId = id.size() == 12 && id.compare(0, 10, "QahvomTPsk") == 0 && id[10] >= '0' && id[10] <= '9' &&
                        id[11] >= '0' && id[11] <= '9';
    fuzzCheck(service.isTestServer() == testId, "test server chosen by the login id");
}

unsigned int pickOffset(FuzzedDataProvider& input, size_t size)
{
    // Mostly near the buffer, sometimes anywhere (sums that could wrap).
    if (input.ConsumeBool())
        return input.ConsumeIntegral<unsigned int>();
    return input.ConsumeIntegralInRange<unsigned int>(0, static_cast<unsigned int>(size) + 8);
}

bool fits(const Bytes& bytes, unsigned int offset, size_t count)
{
    return static_cast<size_t>(offset) + count <= bytes.size();
}

void exerciseCodec(FuzzedDataProvider& input, Bytes buffer)
{
    while (input.remaining_bytes() > 0) {
        const unsigned int offset = pickOffset(input, buffer.size());
        const Bytes before = buffer;
        switch (input.ConsumeIntegralInRange<int>(0, 8)) {
        case 0: {
            const unsigned int word = OrvArrayUtils::byteArrayToWord(buffer, offset);
            fuzzCheck(word == (fits(buffer, offset, 2) ? (buffer[offset] << 8 | buffer[offset + 1]) : 0u),
                      "word read");
            break;
        }
        case 1: {
            const unsigned long dword = OrvArrayUtils::byteArrayToDword(buffer, offset);
            unsigned long expected = 0;
            if (fits(buffer, offset, 4))
                for (size_t i = 0; i < 4; ++i)
                    expected = expected << 8 | buffer[offset + i];
            fuzzCheck(dword == expected, "dword read");
            break;
        }
        case 2: {
            const unsigned int value = input.ConsumeIntegral<unsigned int>();
            OrvArrayUtils::setWordToByteArray(value, buffer, offset);
            fuzzCheck(buffer.size() == before.size(), "word write keeps the size");
            if (fits(before, offset, 2))
                fuzzCheck(OrvArrayUtils::byteArrayToWord(buffer, offset) == (value & 0xFFFF), "word written");
            else
                fuzzCheck(buffer == before, "word write out of range is skipped");
            break;
        }
        case 3: {
            const unsigned long value = input.ConsumeIntegral<uint32_t>();
            OrvArrayUtils::setDwordToByteArray(value, buffer, offset);
            fuzzCheck(buffer.size() == before.size(), "dword write keeps the size");
            if (fits(before, offset, 4))
                fuzzCheck(OrvArrayUtils::byteArrayToDword(buffer, offset) == value, "dword written");
            else
                fuzzCheck(buffer == before, "dword write out of range is skipped");
            break;
        }
        case 4: {
            const unsigned long value = input.ConsumeIntegral<uint32_t>();
            const bool word = input.ConsumeBool();
            if (word)
                OrvArrayUtils::appendWordToByteArray(static_cast<unsigned int>(value), buffer);
            else
                OrvArrayUtils::appendDwordToByteArray(value, buffer);
            const unsigned int at = static_cast<unsigned int>(before.size());
            fuzzCheck(buffer.size() == before.size() + (word ? 2 : 4), "append grows by the width");
            fuzzCheck(word ? OrvArrayUtils::byteArrayToWord(buffer, at) == (value & 0xFFFF)
                           : OrvArrayUtils::byteArrayToDword(buffer, at) == value,
                      "appended value reads back");
            break;
        }
        case 5: {
            std::string text = "unchanged";
            std::string multiByte = text;
            OrvArrayUtils::byteArrayToString(buffer, text, offset);
            OrvArrayUtils::byteArrayToStringMultiByte(buffer, multiByte, offset);
            std::string run;
            const bool inRange = !buffer.empty() && runAt(buffer, offset, run);
            fuzzCheck(text == (inRange ? run : std::string("unchanged")), "string read");
            fuzzCheck(multiByte == text, "multi-byte string read is the same");
            break;
        }
        case 6: {
            Bytes copy{0xEE};
            OrvArrayUtils::copyByteArray(buffer, copy, offset);
            std::string run;
            if (runAt(buffer, offset, run))
                fuzzCheck(copy == Bytes(run.begin(), run.end()), "terminated copy");
            else
                fuzzCheck(copy == Bytes{0xEE}, "terminated copy past the end is skipped");
            const unsigned int length = input.ConsumeIntegral<unsigned int>();
            OrvArrayUtils::copyByteArray(buffer, copy, offset, length);
            fuzzCheck(copy.size() <= length && copy.size() <= buffer.size(), "ranged copy stays in range");
            break;
        }
        case 7: {
            const std::string text = input.ConsumeRandomLengthString(64);
            const bool terminate = input.ConsumeBool();
            OrvArrayUtils::stringToByteArray(text, buffer, terminate);
            if (text.empty())
                fuzzCheck(buffer == before, "empty text writes nothing");
            else
                fuzzCheck(buffer.size() == text.size() + (terminate ? 1 : 0), "text written whole");
            break;
        }
        default: {
            const std::string text = input.ConsumeRandomLengthString(32);
            fuzzCheck(OrvArrayUtils::isDigit(text) == (text.find_first_not_of("-0123456789") == std::string::npos),
                      "digit test");
            fuzzCheck(OrvArrayUtils::getUpperNibble(offset) == ((offset >> 4) & 0x0F), "upper nibble");
            break;
        }
        }
        // Keep the working buffer small whatever the appends did.
        if (buffer.size() > 4096)
            buffer.resize(64);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static OrvKitPreferences preferences;
    static OrvServerServiceProbe service(&preferences, nullptr);

    const Bytes whole(data, data + size);
    checkAccessoryInfo(service, whole);

    FuzzedDataProvider input(data, size);
    const size_t bufferSize = input.ConsumeIntegralInRange<size_t>(0, 64);
    const std::vector<unsigned char> buffer = input.ConsumeBytes<unsigned char>(bufferSize);
    exerciseCodec(input, buffer);
    return 0;
}
