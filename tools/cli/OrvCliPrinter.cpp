#include "OrvCliPrinter.h"

#include "OrvCliTable.h"

#include <OrvKit.h>

#include <cstdio>
#include <ctime>

namespace {

std::string text(unsigned value) { return std::to_string(value); }

bool printAuth(const std::vector<uint8_t>& body, std::ostream& out)
{
    OrvKitDat::AuthResponse auth;
    if (!auth.fromJson(body)) {
        return false;
    }
    out << "  signed in, role " << auth.role << "\n"
        << "  access token   " << OrvCliTable::clip(auth.accessToken, 24) << " (" << auth.accessToken.size()
        << " characters)\n"
        << "  expires in     " << auth.expiresIn << " s, at " << OrvCliPrinter::epochText(auth.expirationDate) << "\n";
    return true;
}

bool printSummary(const std::vector<uint8_t>& body, std::ostream& out)
{
    OrvKitDat::SummaryResponse summary;
    if (!summary.fromJson(body)) {
        return false;
    }
    OrvCliTable table({"collection", "count", "updated at"});
    table.add({"spots", text(summary.spotCount), summary.spotUpdatedAt});
    table.add({"folders", text(summary.folderCount), summary.folderUpdatedAt});
    table.add({"destinations", text(summary.destinationCount), summary.destinationUpdatedAt});
    table.add({"plans", text(summary.planCount), summary.planUpdatedAt});
    table.add({"agreement", "", summary.agreementUpdatedAt});
    table.print(out);
    return true;
}

bool printSpots(const std::vector<uint8_t>& body, std::ostream& out)
{
    OrvKitDat::BookmarksSpotsResponse spots;
    if (!spots.fromJson(body)) {
        return false;
    }
    out << "  " << spots.spots.size() << " of " << spots.all << " spots (sort " << spots.sort << ", order "
        << spots.order << ", position " << spots.position << ")\n";
    OrvCliTable table({"id", "name", "yomi", "address", "lon", "lat", "genre", "folder", "updated at"});
    for (const auto& spot : spots.spots) {
        table.add({spot.id, OrvCliTable::clip(spot.name, 24), OrvCliTable::clip(spot.yomi, 24),
                   OrvCliTable::clip(spot.address, 30), OrvCliPrinter::coordinate(spot.lon),
                   OrvCliPrinter::coordinate(spot.lat), spot.genreName, spot.folderId, spot.updatedAt});
    }
    table.print(out);
    return true;
}

bool printFolders(const std::vector<uint8_t>& body, std::ostream& out)
{
    OrvKitDat::BookmarksFoldersResponse folders;
    if (!folders.fromJson(body)) {
        return false;
    }
    out << "  " << folders.folders.size() << " of " << folders.all << " folders (sort " << folders.sort << ", order "
        << folders.order << ")\n";
    OrvCliTable table({"id", "name", "type", "created at", "updated at"});
    for (const auto& folder : folders.folders) {
        table.add({folder.id, folder.name, folder.type, folder.createdAt, folder.updatedAt});
    }
    table.print(out);
    return true;
}

bool printDestinations(const std::vector<uint8_t>& body, std::ostream& out)
{
    OrvKitDat::BookmarksDestsResponse destinations;
    if (!destinations.fromJson(body)) {
        return false;
    }
    out << "  " << destinations.dests.size() << " destinations\n";
    OrvCliTable table({"id", "name", "address", "lon", "lat", "route points", "updated at"});
    for (const auto& dest : destinations.dests) {
        table.add({dest.id, OrvCliTable::clip(dest.name, 26), OrvCliTable::clip(dest.address, 30),
                   OrvCliPrinter::coordinate(dest.lon), OrvCliPrinter::coordinate(dest.lat),
                   std::to_string(dest.routePoints.size()), dest.updatedAt});
    }
    table.print(out);
    return true;
}

bool printPlans(const std::vector<uint8_t>& body, std::ostream& out)
{
    OrvKitDat::PlansResponse plans;
    if (!plans.fromJson(body)) {
        return false;
    }
    out << "  " << plans.plans.size() << " plans\n";
    for (const auto& plan : plans.plans) {
        out << "  " << plan.id << "  " << plan.name << "  (" << plan.baseDate << ", " << plan.planpoints.size()
            << " points" << (plan.memo.empty() ? "" : ", " + plan.memo) << ")\n";
        OrvCliTable table({"#", "name", "start", "stay", "lon", "lat", "route points"});
        for (const auto& point : plan.planpoints) {
            table.add({text(point.order), OrvCliTable::clip(point.name, 24), point.startTime,
                       text(point.stayMinutes) + " min", OrvCliPrinter::coordinate(point.lon),
                       OrvCliPrinter::coordinate(point.lat), std::to_string(point.routePoints.size())});
        }
        table.print(out, "    ");
    }
    return true;
}

std::string firstLine(const std::string& pem)
{
    return pem.substr(0, pem.find('\n'));
}

bool printCertificate(const std::vector<uint8_t>& body, std::ostream& out)
{
    OrvKitDat::CertificateResponse certificate;
    if (!certificate.fromJson(body)) {
        return false;
    }
    OrvCliTable table({"part", "bytes", "form"});
    table.add({"CA certificate", std::to_string(certificate.caCertificatePem.size()),
               firstLine(certificate.caCertificatePem)});
    table.add({"device certificate", std::to_string(certificate.certificatePem.size()),
               firstLine(certificate.certificatePem)});
    table.add({"private key", std::to_string(certificate.privateKey.size()), firstLine(certificate.privateKey)});
    table.print(out);
    out << "  the kit keeps them for the position reports (mutual TLS)\n";
    return true;
}

} // namespace

std::string OrvCliPrinter::coordinate(double value)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.6f", value);
    return buffer;
}

std::string OrvCliPrinter::epochText(uint32_t seconds)
{
    const std::time_t when = static_cast<std::time_t>(seconds);
    std::tm parts {};
    localtime_r(&when, &parts);
    char buffer[40];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S %z", &parts);
    return buffer;
}

bool OrvCliPrinter::print(unsigned long commandCode, const std::vector<uint8_t>& body, std::ostream& out)
{
    using namespace OrvKitDef;
    switch (commandCode) {
    case CMD_LOGIN: return printAuth(body, out);
    case CMD_GET_INFO_SUMMARY: return printSummary(body, out);
    case CMD_GET_SPOTS: return printSpots(body, out);
    case CMD_GET_FOLDERS: return printFolders(body, out);
    case CMD_GET_DESTINATIONS: return printDestinations(body, out);
    case CMD_GET_PLANS: return printPlans(body, out);
    case CMD_GET_CERTIFICATE: return printCertificate(body, out);
    case CMD_DELETE_DESTINATION:
    case CMD_DELETE_PLANS:
        out << "  deleted\n";
        return true;
    case CMD_UPDATE_SHADOW:
        out << "  " << std::string(body.begin(), body.end()) << "\n";
        return true;
    default:
        out << "  " << body.size() << " bytes\n";
        return true;
    }
}
