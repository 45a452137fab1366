#include "OrvSimConsole.h"

#include "OrvCloudSimulator.h"
#include "OrvHttpsEndpoint.h"
#include "OrvSimConsoleAssets.h"

#include <httplib.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <cstdint>
#include <cstdlib>

namespace {

using httplib::Request;
using httplib::Response;

const char* const kJson = "application/json; charset=utf-8";
const size_t kDefaultLimit = 200;
const size_t kMaxLimit = 1000;
const size_t kWorkers = 4;

const char* environmentName(OrvCloudSimulator::Environment environment)
{
    return environment == OrvCloudSimulator::Test ? "test" : "production";
}

void send(Response& response, int status, const QJsonDocument& document)
{
    response.status = status;
    response.set_header("Cache-Control", "no-store");
    response.set_content(document.toJson(QJsonDocument::Compact).toStdString(), kJson);
}

void send(Response& response, int status, const QJsonObject& body) { send(response, status, QJsonDocument(body)); }

void send(Response& response, int status, const QJsonArray& body) { send(response, status, QJsonDocument(body)); }

// Texts that the simulator already holds as JSON go out as they are.
void sendText(Response& response, const std::string& json)
{
    response.set_header("Cache-Control", "no-store");
    response.set_content(json, kJson);
}

void refuse(Response& response, int status, const std::string& message)
{
    QJsonObject body;
    body.insert("error", QString::fromStdString(message));
    send(response, status, body);
}

// An absent parameter keeps value.
bool readCount(const Request& request, const char* key, uint64_t high, uint64_t& value)
{
    if (!request.has_param(key)) {
        return true;
    }
    const std::string text = request.get_param_value(key);
    if (text.empty() || text.size() > 19 || text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    const unsigned long long number = std::strtoull(text.c_str(), nullptr, 10);
    if (number > high) {
        return false;
    }
    value = number;
    return true;
}

QJsonObject recordJson(const OrvCloudSimulator::RequestRecord& r)
{
    QJsonObject item;
    item.insert("serial", static_cast<double>(r.serial));
    item.insert("time", static_cast<double>(r.receivedAtUs) / 1000.0);
    item.insert("environment", environmentName(r.environment));
    item.insert("method", QString::fromStdString(r.method));
    item.insert("path", QString::fromStdString(r.path));
    item.insert("query", QString::fromStdString(r.query));
    item.insert("route", QString::fromStdString(r.route));
    item.insert("requester", QString::fromStdString(r.requester));
    item.insert("status", r.status);
    item.insert("code", QString::fromStdString(r.serverCode));
    item.insert("ms", r.elapsedMs);
    item.insert("fault", QString::fromStdString(r.fault));
    return item;
}

QJsonArray faultsJson(const OrvCloudSimulator& simulator)
{
    QJsonArray list;
    for (const auto& entry : simulator.faultRules()) {
        QJsonObject item;
        item.insert("route", QString::fromStdString(entry.first));
        item.insert("rule", QString::fromStdString(entry.first + "=" + entry.second.text()));
        item.insert("remaining", entry.second.times);
        list.append(item);
    }
    return list;
}

} // namespace

const size_t OrvSimConsole::kMaxBody;

OrvSimConsole::OrvSimConsole(OrvCloudSimulator& simulator) : simulator(simulator), boundPort(0) {}

OrvSimConsole::~OrvSimConsole() { stop(); }

bool OrvSimConsole::start(const std::string& address, int port, std::string& error)
{
    if (thread.joinable()) {
        error = "the console is already running";
        return false;
    }
    svr.reset(new httplib::Server);
    // A browser holds its connections open; short keep-alive lets stop() end promptly.
    svr->set_keep_alive_timeout(2);
    svr->set_read_timeout(5);
    svr->set_write_timeout(5);
    svr->set_tcp_nodelay(true);
    svr->set_payload_max_length(kMaxBody);
    svr->new_task_queue = [] { return new httplib::ThreadPool(kWorkers); };
    host = address;
    install();
    boundPort = port == 0 ? svr->bind_to_any_port(host) : (svr->bind_to_port(host, port) ? port : -1);
    if (boundPort <= 0) {
        error = "cannot bind the console to " + host + ":" + std::to_string(port);
        svr.reset();
        return false;
    }
    if (!OrvHttpsEndpoint::listenInBackground(*svr, thread, listening)) {
        svr.reset();
        error = "cannot listen on " + host + ":" + std::to_string(boundPort);
        return false;
    }
    return true;
}

void OrvSimConsole::stop()
{
    if (thread.joinable()) {
        svr->stop();
        thread.join();
    }
    svr.reset();
}

std::string OrvSimConsole::origin() const
{
    const bool v6 = host.find(':') != std::string::npos;
    return "http://" + (v6 ? "[" + host + "]" : host) + ":" + std::to_string(boundPort);
}

void OrvSimConsole::install()
{
    httplib::Server& server = *svr;
    OrvCloudSimulator& sim = simulator;

    // A web page elsewhere can point a name of its own at 127.0.0.1 and so read
    // this console as its own origin: on loopback, answer only to loopback names.
    const bool loopback = host.compare(0, 4, "127.") == 0 || host == "::1" || host == "localhost";
    const std::string ownHost = host.find(':') != std::string::npos ? "[" + host + "]" : host;
    server.set_pre_routing_handler([loopback, ownHost](const Request& request, Response& response) {
        const std::string named = request.get_header_value("Host");
        const size_t colon = named.rfind(':');
        const std::string name = colon != std::string::npos && named.find(']', colon) == std::string::npos
                                     ? named.substr(0, colon)
                                     : named;
        if (!loopback || name == ownHost || name == "localhost" || name == "127.0.0.1" || name == "[::1]") {
            return httplib::Server::HandlerResponse::Unhandled;
        }
        refuse(response, 403, "the console answers only to a loopback host name, not \"" + name + "\"");
        return httplib::Server::HandlerResponse::Handled;
    });

    for (const OrvSimConsoleAssets::Asset& asset : OrvSimConsoleAssets::all()) {
        server.Get(asset.path, [&asset](const Request&, Response& response) {
            response.set_header("Cache-Control", "no-store");
            response.set_content(asset.body, asset.contentType);
        });
    }

    server.Get("/console/api/requests", [&sim](const Request& request, Response& response) {
        uint64_t after = 0;
        uint64_t limit = kDefaultLimit;
        if (!readCount(request, "after", UINT64_MAX, after) || !readCount(request, "limit", kMaxLimit, limit) ||
            limit == 0) {
            refuse(response, 400, "\"after\" must be a serial number and \"limit\" a count from 1 to 1000");
            return;
        }
        // With a cursor, the records that follow it; without, the newest.
        const std::vector<OrvCloudSimulator::RequestRecord> records =
            request.has_param("after") ? sim.requestsAfter(after, limit) : sim.latestRequests(limit);
        QJsonArray list;
        for (auto it = records.rbegin(); it != records.rend(); ++it) {
            list.append(recordJson(*it));
        }
        QJsonObject body;
        body.insert("last", static_cast<double>(records.empty() ? after : records.back().serial));
        body.insert("requests", list);
        send(response, 200, body);
    });

    server.Get("/console/api/devices", [&sim](const Request&, Response& response) {
        QJsonArray list;
        for (auto environment : {OrvCloudSimulator::Production, OrvCloudSimulator::Test}) {
            for (const auto& entry : sim.shadowVersions(environment)) {
                QJsonObject item;
                item.insert("environment", environmentName(environment));
                item.insert("thing", QString::fromStdString(entry.first));
                item.insert("version", entry.second);
                list.append(item);
            }
        }
        send(response, 200, list);
    });

    server.Get("/console/api/devices/(production|test)/([^/]+)", [&sim](const Request& request, Response& response) {
        const auto environment = request.matches[1] == "test" ? OrvCloudSimulator::Test : OrvCloudSimulator::Production;
        const std::string document = sim.shadowDocument(request.matches[2], environment);
        if (document.empty()) {
            refuse(response, 404, "no shadow for \"" + std::string(request.matches[2]) + "\"");
            return;
        }
        sendText(response, document);
    });

    server.Get("/console/api/accounts", [&sim](const Request&, Response& response) {
        const QJsonArray accounts = QJsonDocument::fromJson(QByteArray::fromStdString(sim.accountsJson())).array();
        QJsonObject body;
        body.insert("now", static_cast<double>(std::chrono::duration_cast<std::chrono::seconds>(
                                                   std::chrono::system_clock::now().time_since_epoch())
                                                   .count()));
        body.insert("tokenLifetime", static_cast<double>(sim.tokenLifetime()));
        body.insert("accounts", accounts);
        send(response, 200, body);
    });

    server.Get("/console/api/data", [&sim](const Request&, Response& response) {
        QJsonObject body;
        for (auto environment : {OrvCloudSimulator::Production, OrvCloudSimulator::Test}) {
            body.insert(environmentName(environment),
                        QJsonDocument::fromJson(QByteArray::fromStdString(sim.summaryJson(environment))).object());
        }
        send(response, 200, body);
    });

    server.Get("/console/api/faults", [&sim](const Request&, Response& response) {
        send(response, 200, faultsJson(sim));
    });

    // Only JSON is taken: a page elsewhere cannot send that across origins without asking first.
    server.Post("/console/api/faults", [&sim](const Request& request, Response& response) {
        if (request.get_header_value("Content-Type").find("application/json") != 0) {
            refuse(response, 415, "send {\"rule\": \"ROUTE=ITEM[,ITEM...]\"} as application/json");
            return;
        }
        const QJsonDocument document =
            QJsonDocument::fromJson(QByteArray(request.body.data(), static_cast<int>(request.body.size())));
        const QJsonValue rule = document.object().value("rule");
        if (!rule.isString()) {
            refuse(response, 400, "the body must be {\"rule\": \"ROUTE=ITEM[,ITEM...]\"}");
            return;
        }
        std::string error;
        if (!sim.addFault(rule.toString().toStdString(), &error)) {
            refuse(response, 400, error);
            return;
        }
        send(response, 201, faultsJson(sim));
    });

    server.Delete("/console/api/faults", [&sim](const Request&, Response& response) {
        sim.clearFaults();
        response.status = 204;
    });

    server.Delete("/console/api/faults/([^/]+)", [&sim](const Request& request, Response& response) {
        if (!sim.removeFault(request.matches[1])) {
            refuse(response, 404, "no fault on \"" + std::string(request.matches[1]) + "\"");
            return;
        }
        response.status = 204;
    });

    // Unknown routes, wrong methods and bodies over kMaxBody end here with a reason.
    server.set_error_handler([](const Request& request, Response& response) {
        if (!response.body.empty()) {
            return;
        }
        switch (response.status) {
        case 404:
            refuse(response, 404, "no console route " + request.method + " " + request.path);
            break;
        case 413:
            refuse(response, 413, "the body is larger than " + std::to_string(kMaxBody) + " bytes");
            break;
        default:
            refuse(response, response.status, "refused");
            break;
        }
    });
}
