#ifndef ORV_DEBUG_DATA_WRITER_H
#define ORV_DEBUG_DATA_WRITER_H
#include <ctime>
#include <string>
#include <vector>

// Names and writes debug dumps of server and client data. Dumps are switched
// off: the per-kind names are empty and the writers do nothing.
class OrvDebugDataWriter
{
public:
    static const std::string OUT_DIR_PATH;
    static const std::string PREFIX_FOR_ORIGINAL_DATA;
    static const std::string PREFIX_FOR_CONVERTED_DATA;
    static const std::string PREFIX_FOR_LOG;
    static const std::string BIN_FILE_EXTENSION;
    static const std::string LOG_FILE_EXTENSION;
    static const std::string TYPE_LOG;

    // first + local time + second + third, or "" when any part is empty.
    static std::string getFileName(const std::string& first, const std::string& second, const std::string& third);
    // The same at a given time, so that the name can be checked.
    static std::string getFileName(const std::string& first, const std::string& second, const std::string& third,
                                   time_t now);

    static std::string getFileNameForOriginalData(const std::string& name);
    static std::string getFileNameForConvertedData(const std::string& name);
    static std::string getFileNameForLog();

    static void writeData(const std::string& fileName, const std::vector<unsigned char>& data);
    static void writeData(const std::string& fileName, const std::string& text);
};
#endif
