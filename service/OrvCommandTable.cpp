#include "service/OrvCommandTable.h"

#include "http/OrvQtHttpRequest.h"
#include "util/OrvArrayUtils.h"

#include <string>

using namespace OrvKitDef;
using OrvKitCommands::findCommand;
using OrvKitCommands::kNoPaging;
using OrvKitCommands::kNoPosition;

namespace {

// Commands may be shorter than the words they carry; missing bytes read as 0.
std::vector<uint8_t> paddedTo(const std::vector<uint8_t>& data, size_t size)
{
    std::vector<uint8_t> padded(data);
    if (padded.size() < size)
        padded.resize(size, 0);
    return padded;
}

// Sort key, order and count in decimal; true when the position flag is set.
bool addPageParameters(const std::vector<uint8_t>& data, OrvQtHttpRequest& request)
{
    const std::vector<uint8_t> words = paddedTo(data, 8);
    request.setRequestParameter("sort", std::to_string(OrvArrayUtils::byteArrayToWord(words, 0)));
    request.setRequestParameter("order", std::to_string(OrvArrayUtils::byteArrayToWord(words, 2)));
    request.setRequestParameter("number", std::to_string(OrvArrayUtils::byteArrayToWord(words, 4)));
    return OrvArrayUtils::byteArrayToWord(words, 6) != kNoPosition;
}

void addSpotParameters(const std::vector<uint8_t>& data, OrvQtHttpRequest& request)
{
    if (!addPageParameters(data, request))
        return;
    // Empty coordinates are what the server expects here.
    request.setRequestParameter("lon", "");
    request.setRequestParameter("lat", "");
    request.setRequestParameter("position", "1");
}

void addFolderParameters(const std::vector<uint8_t>& data, OrvQtHttpRequest& request)
{
    if (addPageParameters(data, request))
        request.setRequestParameter("position", "1");
}

// Paging asks for the first ten plans whatever the word holds.
void addPlanParameters(const std::vector<uint8_t>& data, OrvQtHttpRequest& request)
{
    if (OrvArrayUtils::byteArrayToWord(paddedTo(data, 2), 0) == kNoPaging)
        return;
    request.setRequestParameter("number", "10");
    request.setRequestParameter("position", "1");
    request.setRequestParameter("baseDate", "");
}

using Mapper = OrvCommandRow::Mapper;

const OrvCommandRow kRows[] = {
    {*findCommand(CMD_LOGIN), CONTEXT_LOGIN, Mapper::Server, 0, nullptr},
    {*findCommand(CMD_GET_SPOTS), 2, Mapper::Server, 0, addSpotParameters},
    {*findCommand(CMD_GET_SPOT_DETAIL), 3, Mapper::None, 0, nullptr},
    {*findCommand(CMD_GET_FOLDERS), 4, Mapper::Server, 0, addFolderParameters},
    {*findCommand(CMD_GET_DESTINATIONS), 5, Mapper::Server, 0, nullptr},
    {*findCommand(CMD_DELETE_DESTINATION), 6, Mapper::Server, 0, nullptr},
    {*findCommand(CMD_GET_PLANS_SUMMARY), 7, Mapper::None, 0, nullptr},
    {*findCommand(CMD_GET_PLANS), 8, Mapper::Server, 0, addPlanParameters},
    {*findCommand(CMD_DELETE_PLANS), 9, Mapper::Server, 0, nullptr},
    {*findCommand(CMD_GET_INFO_SUMMARY), 10, Mapper::Server, 0, nullptr},
    {*findCommand(CMD_GET_GENRES), 11, Mapper::None, 0, nullptr},
    {*findCommand(CMD_GET_CERTIFICATE), CONTEXT_CERTIFICATE, Mapper::Device, 201, nullptr},
    {*findCommand(CMD_UPDATE_SHADOW), CONTEXT_SHADOW, Mapper::Device, 0, nullptr},
};

} // namespace

const OrvCommandRow* OrvCommandRow::byCode(unsigned long code)
{
    for (const OrvCommandRow& row : kRows)
        if (row.command.code == code)
            return &row;
    return nullptr;
}

const OrvCommandRow* OrvCommandRow::byContext(unsigned int context)
{
    for (const OrvCommandRow& row : kRows)
        if (row.context == context)
            return &row;
    return nullptr;
}
