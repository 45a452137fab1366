#include "OrvCloudSimulator.h"

#include "OrvSimAccounts.h"
#include "OrvSimDataSet.h"
#include "OrvHttpsEndpoint.h"
#include "OrvSimSeed.h"
#include "OrvSimShadowStore.h"

#include <OrvKitCommands.h>

#include <QJsonDocument>
#include <QJsonParseError>

#include <openssl/ssl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace {

using httplib::Request;
using httplib::Response;

const size_t kMaxLogEntries = 10000;
const char* const kJson = "application/json; charset=utf-8";

// The request that a worker thread is serving, from the pre-routing handler
// to the route handler or the logger that records it. A request refused
// before routing (malformed, too large) reaches only the logger.
struct InFlight
{
    std::chrono::steady_clock::time_point started;
    bool routed = false;
    bool recorded = false;

    double elapsedMs() const
    {
        return routed ? std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count()
                      : 0.0;
    }
};
thread_local InFlight inFlight;

// A route is named as orvkit-cli names its command, except the certificate
// ("cert") and the position report ("shadow"); faults and the log use the name.
std::string routeName(const OrvKitCommands::Command& command)
{
    switch (command.code) {
    case OrvKitDef::CMD_GET_CERTIFICATE: return "cert";
    case OrvKitDef::CMD_UPDATE_SHADOW: return "shadow";
    default: return command.name;
    }
}

// The kit's path with its "{...}" segment as a capture.
std::string routePattern(const std::string& path)
{
    const size_t open = path.find('{');
    return open == std::string::npos ? path : path.substr(0, open) + "([^/]+)" + path.substr(path.find('}', open) + 1);
}

std::string jsonText(const QJsonDocument& document)
{
    return document.toJson(QJsonDocument::Compact).toStdString();
}

void answer(Response& response, int status, const QJsonObject& body)
{
    response.status = status;
    response.set_content(jsonText(QJsonDocument(body)), kJson);
}

void answer(Response& response, int status, const QJsonArray& body)
{
    response.status = status;
    response.set_content(jsonText(QJsonDocument(body)), kJson);
}

// The navigation API's error body.
void fail(Response& response, int status, const std::string& code, const std::string& message)
{
    QJsonObject error;
    error.insert("code", QString::fromStdString(code));
    error.insert("message", QString::fromStdString(message));
    QJsonObject body;
    body.insert("error", error);
    answer(response, status, body);
}

// The device endpoint's error body.
void failDevice(Response& response, int status, const std::string& message)
{
    QJsonObject body;
    body.insert("code", status);
    body.insert("message", QString::fromStdString(message));
    answer(response, status, body);
}

std::string queryText(const httplib::Params& params)
{
    std::string text;
    for (const auto& param : params) {
        if (!text.empty()) {
            text += '&';
        }
        text += param.first + "=" + param.second;
    }
    return text;
}

bool requireIdentity(const Request& request, Response& response)
{
    for (const char* key : {"maker", "model", "deviceNo"}) {
        if (!request.has_param(key)) {
            fail(response, 400, "E4001001", std::string("missing parameter: ") + key);
            return false;
        }
    }
    return true;
}

// An absent or empty parameter keeps value.
bool readNumber(const Request& request, const char* key, unsigned high, unsigned& value, Response& response)
{
    const std::string text = request.get_param_value(key);
    if (text.empty()) {
        return true;
    }
    if (text.size() > 6 || text.find_first_not_of("0123456789") != std::string::npos ||
        std::strtoul(text.c_str(), nullptr, 10) > high) {
        fail(response, 400, "E4001002", std::string("invalid parameter: ") + key);
        return false;
    }
    value = static_cast<unsigned>(std::strtoul(text.c_str(), nullptr, 10));
    return true;
}

bool readCoordinate(const Request& request, const char* key, double low, double high, bool& present,
                    double& value, Response& response)
{
    const std::string text = request.get_param_value(key);
    present = !text.empty();
    if (!present) {
        return true;
    }
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    if (end == nullptr || *end != '\0' || !(value >= low && value <= high)) {
        fail(response, 400, "E4001002", std::string("invalid parameter: ") + key);
        return false;
    }
    return true;
}

bool readPage(const Request& request, unsigned maxSort, OrvSimDataSet::Page& page, Response& response)
{
    return readNumber(request, "sort", maxSort, page.sort, response) &&
           readNumber(request, "order", 1, page.order, response) &&
           readNumber(request, "number", 1000, page.number, response) &&
           readNumber(request, "position", 100000, page.position, response);
}

bool parseObject(const std::string& body, QJsonObject& out)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray(body.data(), static_cast<int>(body.size())), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return false;
    }
    out = document.object();
    return true;
}

} // namespace

const char* OrvCloudSimulator::builtInSeed() { return OrvSimSeed::text(); }

OrvCloudSimulator::OrvCloudSimulator() : running(false), stopRequested(false), lastSerial(0) {}

OrvCloudSimulator::~OrvCloudSimulator() { stop(); }

bool OrvCloudSimulator::start(const Options& options, std::string* error)
{
    std::string message;
    auto failWith = [&](const std::string& text) {
        if (error != nullptr) {
            *error = text;
        }
        stop();
        return false;
    };
    if (running) {
        return failWith("already running");
    }

    QJsonObject seed;
    const std::string seedText = options.seedText.empty() ? std::string(builtInSeed()) : options.seedText;
    if (!parseObject(seedText, seed)) {
        return failWith("the seed is not a JSON object");
    }
    accounts.reset(new OrvSimAccounts);
    if (!accounts->load(seed.value("accounts").toArray(), message)) {
        return failWith("seed: " + message);
    }
    const int64_t lifetime = options.tokenLifetime > 0 ? options.tokenLifetime
                                                       : static_cast<int64_t>(seed.value("tokenLifetime").toDouble(3600));
    accounts->setTokenLifetime(lifetime);
    if (!options.tokenKeyFile.empty()) {
        std::string key;
        if (!OrvSimAccounts::keptKey(options.tokenKeyFile, key, message)) {
            return failWith(message);
        }
        accounts->setSigningKey(key);
    }
    for (int env = 0; env < 2; ++env) {
        data[env].reset(new OrvSimDataSet);
        if (!data[env]->load(seed, message)) {
            return failWith("seed: " + message);
        }
        shadows[env].reset(new OrvSimShadowStore);
    }

    // Elliptic keys for the simulator's own identities keep start-up fast.
    authority = OrvPki::issue("OrvKit Simulator CA", OrvPki::Use::Authority, nullptr, 3650, false);
    host = OrvPki::issue("127.0.0.1", OrvPki::Use::Server, &authority, 825, false);
    if (host.certificatePem.empty()) {
        return failWith("cannot create the simulator CA");
    }

    {
        std::lock_guard<std::mutex> lock(stateMutex);
        stopRequested = false;
    }
    onRequest = options.onRequest;
    const int apiPorts[2] = {options.apiPort, options.apiTestPort};
    const int shadowPorts[2] = {options.shadowPort, options.shadowTestPort};
    OrvPki::ServerTls tls;
    tls.certificatePem = host.certificatePem + authority.certificatePem;
    tls.privateKeyPem = host.privateKeyPem;
    OrvPki::ServerTls deviceTls = tls;
    deviceTls.clientCaPem = authority.certificatePem;
    deviceTls.requireClientCertificate = false;
    for (int env = 0; env < 2; ++env) {
        const Environment environment = static_cast<Environment>(env);
        apiEndpoints[env].reset(new OrvHttpsEndpoint([this, tls](SSL_CTX& ctx) {
            SSL_CTX_set_client_hello_cb(&ctx, &OrvCloudSimulator::onClientHello, &serverKinds[0]);
            return OrvPki::configureServer(ctx, tls);
        }));
        installApi(apiEndpoints[env]->server(), environment);
        if (!apiEndpoints[env]->start(apiPorts[env], message)) {
            return failWith(message);
        }
        shadowEndpoints[env].reset(
            new OrvHttpsEndpoint([this, deviceTls](SSL_CTX& ctx) {
                SSL_CTX_set_client_hello_cb(&ctx, &OrvCloudSimulator::onClientHello, &serverKinds[1]);
                return OrvPki::configureServer(ctx, deviceTls);
            }));
        shadowEndpoints[env]->server().set_payload_max_length(128 * 1024);
        installShadow(shadowEndpoints[env]->server(), environment);
        if (!shadowEndpoints[env]->start(shadowPorts[env], message)) {
            return failWith(message);
        }
    }
    running = true;
    return true;
}

void OrvCloudSimulator::stop()
{
    {
        std::lock_guard<std::mutex> lock(stateMutex);
        stopRequested = true;
    }
    stopping.notify_all();
    for (int env = 0; env < 2; ++env) {
        apiEndpoints[env].reset();
        shadowEndpoints[env].reset();
    }
    running = false;
}

OrvCloudSimulator::Origins OrvCloudSimulator::origins() const
{
    Origins result;
    if (!running) {
        return result;
    }
    result.authServerOrigin = result.apiServerOrigin = result.certificateOrigin = apiEndpoints[0]->origin();
    result.authServerTestOrigin = result.apiServerTestOrigin = result.certificateTestOrigin =
        apiEndpoints[1]->origin();
    result.deviceShadowOrigin = shadowEndpoints[0]->origin();
    result.deviceShadowTestOrigin = shadowEndpoints[1]->origin();
    return result;
}

std::string OrvCloudSimulator::caCertificatePem() const { return authority.certificatePem; }

bool OrvCloudSimulator::addFault(const std::string& rule, std::string* error)
{
    std::string route;
    OrvSimFault fault;
    std::string message;
    if (!OrvSimFault::parse(rule, route, fault, message)) {
        if (error != nullptr) {
            *error = message;
        }
        return false;
    }
    setFault(route, fault);
    return true;
}

void OrvCloudSimulator::setFault(const std::string& route, const OrvSimFault& fault)
{
    std::lock_guard<std::mutex> lock(stateMutex);
    OrvSimFault& stored = faults[route] = fault;
    stored.deadUntil = std::chrono::steady_clock::now() + std::chrono::milliseconds(fault.deadMs);
}

int OrvCloudSimulator::onClientHello(SSL* ssl, int*, void* arg)
{
    const ServerKind* kind = static_cast<const ServerKind*>(arg);
    if (!kind->simulator->linkDead(kind->shadow)) {
        return SSL_CLIENT_HELLO_SUCCESS;
    }
    kind->simulator->swallowUntilClosed(SSL_get_fd(ssl));
    return SSL_CLIENT_HELLO_ERROR;
}

bool OrvCloudSimulator::linkDead(bool shadowServer) const
{
    std::lock_guard<std::mutex> lock(stateMutex);
    const auto now = std::chrono::steady_clock::now();
    return std::any_of(faults.begin(), faults.end(), [&](const std::pair<const std::string, OrvSimFault>& rule) {
        return rule.second.deadMs > 0 && now < rule.second.deadUntil &&
               (rule.first == "*" || OrvSimFault::isShadowRoute(rule.first) == shadowServer);
    });
}

void OrvCloudSimulator::swallowUntilClosed(int socket) const
{
    char buffer[4096];
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(stateMutex);
            if (stopRequested) {
                return;
            }
        }
        pollfd one{socket, POLLIN, 0};
        const int ready = ::poll(&one, 1, 100);
        if (ready < 0 && errno != EINTR) {
            return;
        }
        if (ready <= 0) {
            continue;
        }
        const ssize_t got = ::recv(socket, buffer, sizeof buffer, MSG_DONTWAIT);
        if (got == 0 || (got < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
            return;
        }
    }
}

bool OrvCloudSimulator::removeFault(const std::string& route)
{
    std::lock_guard<std::mutex> lock(stateMutex);
    return faults.erase(route) > 0;
}

void OrvCloudSimulator::clearFaults()
{
    std::lock_guard<std::mutex> lock(stateMutex);
    faults.clear();
}

std::map<std::string, OrvSimFault> OrvCloudSimulator::faultRules() const
{
    std::lock_guard<std::mutex> lock(stateMutex);
    return faults;
}

void OrvCloudSimulator::expireTokens()
{
    if (accounts) {
        accounts->expireAll();
    }
}

void OrvCloudSimulator::setTokenLifetime(int64_t seconds)
{
    if (accounts) {
        accounts->setTokenLifetime(seconds);
    }
}

std::string OrvCloudSimulator::shadowDocument(const std::string& thingName, Environment environment) const
{
    QJsonObject document;
    if (!shadows[environment] || !shadows[environment]->document(thingName, document)) {
        return std::string();
    }
    return jsonText(QJsonDocument(document));
}

std::map<std::string, int> OrvCloudSimulator::shadowVersions(Environment environment) const
{
    return shadows[environment] ? shadows[environment]->versions() : std::map<std::string, int>();
}

std::string OrvCloudSimulator::summaryJson(Environment environment) const
{
    return data[environment] ? jsonText(QJsonDocument(data[environment]->summary())) : std::string();
}

std::string OrvCloudSimulator::accountsJson() const
{
    return jsonText(QJsonDocument(accounts ? accounts->overview() : QJsonArray()));
}

int64_t OrvCloudSimulator::tokenLifetime() const { return accounts ? accounts->tokenLifetime() : 0; }

std::vector<OrvCloudSimulator::RequestRecord> OrvCloudSimulator::requests() const
{
    std::lock_guard<std::mutex> lock(stateMutex);
    return std::vector<RequestRecord>(log.begin(), log.end());
}

std::vector<OrvCloudSimulator::RequestRecord> OrvCloudSimulator::requestsAfter(uint64_t serial, size_t limit) const
{
    std::lock_guard<std::mutex> lock(stateMutex);
    // Serials rise by one along the log, so the first one after serial is found by its distance.
    auto first = log.begin();
    if (!log.empty() && serial >= log.front().serial) {
        first += static_cast<std::ptrdiff_t>(std::min<uint64_t>(serial - log.front().serial + 1, log.size()));
    }
    const auto last = first + static_cast<std::ptrdiff_t>(std::min<size_t>(limit, static_cast<size_t>(log.end() - first)));
    return std::vector<RequestRecord>(first, last);
}

std::vector<OrvCloudSimulator::RequestRecord> OrvCloudSimulator::latestRequests(size_t limit) const
{
    std::lock_guard<std::mutex> lock(stateMutex);
    return std::vector<RequestRecord>(log.end() - static_cast<std::ptrdiff_t>(std::min(limit, log.size())), log.end());
}

void OrvCloudSimulator::clearRequests()
{
    std::lock_guard<std::mutex> lock(stateMutex);
    log.clear();
}

void OrvCloudSimulator::record(RequestRecord entry)
{
    {
        const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::system_clock::now().time_since_epoch());
        entry.receivedAtUs = static_cast<int64_t>(now.count()) - static_cast<int64_t>(entry.elapsedMs * 1000.0);
        std::lock_guard<std::mutex> lock(stateMutex);
        entry.serial = ++lastSerial;
        log.push_back(entry);
        while (log.size() > kMaxLogEntries) {
            log.pop_front();
        }
    }
    if (onRequest) {
        onRequest(entry);
    }
}

OrvCloudSimulator::FaultOutcome OrvCloudSimulator::applyFault(const std::string& route, const Request& request,
                                                              Response& response, std::string& fired)
{
    OrvSimFault fault;
    {
        std::unique_lock<std::mutex> lock(stateMutex);
        auto found = faults.find(route);
        if (found == faults.end()) {
            found = faults.find("*");
        }
        if (found == faults.end()) {
            return FaultOutcome::None;
        }
        fault = found->second;
        fired = found->first + "=" + fault.text();
        if (fault.deadMs > 0 && std::chrono::steady_clock::now() >= fault.deadUntil) {
            fault.deadMs = 0; // the link is back
            if (fault.isEmpty()) {
                fired.clear();
                return FaultOutcome::None;
            }
        }
        if (found->second.times > 0 && --found->second.times == 0) {
            faults.erase(found);
        }
        if (fault.delayMs > 0 &&
            stopping.wait_for(lock, std::chrono::milliseconds(fault.delayMs), [this] { return stopRequested; })) {
            return FaultOutcome::Dropped;
        }
    }
    if (fault.deadMs > 0) {
        swallowUntilClosed(request.ssl != nullptr ? SSL_get_fd(request.ssl) : -1);
        response.status = 500;
        return FaultOutcome::Dropped;
    }
    if (fault.drop) {
        // Part of an answer goes out first: a client may silently resend a request whose
        // connection closed before any byte of the answer, but never one that was cut mid-answer.
        const int socket = request.ssl != nullptr ? SSL_get_fd(request.ssl) : -1;
        if (socket >= 0) {
            static const char partial[] = "HTTP/1.1 200 OK\r\nContent-Length: 4096\r\n\r\n{\"";
            SSL_write(const_cast<SSL*>(request.ssl), partial, static_cast<int>(sizeof partial - 1));
            ::shutdown(socket, SHUT_RDWR);
        }
        response.status = 500;
        return FaultOutcome::Dropped;
    }
    if (fault.status == 0) {
        return FaultOutcome::None;
    }
    response.status = fault.status;
    if (!fault.emptyBody) {
        const std::string code = fault.code.empty() ? OrvSimFault::usualCode(fault.status) : fault.code;
        fail(response, fault.status, code, "injected fault");
    }
    return FaultOutcome::Answered;
}

std::string OrvCloudSimulator::requester(Environment environment, const std::string& route, const Request& request) const
{
    if (route == "shadow" || route == "shadow-get") {
        return request.matches.size() > 1 ? std::string(request.matches[1]) : std::string();
    }
    if (route == "login") {
        QJsonObject body;
        return parseObject(request.body, body) ? body.value("loginid").toString().toStdString() : std::string();
    }
    std::string loginId;
    accounts->check(environment, request.get_header_value("Authorization"), &loginId);
    return loginId;
}

void OrvCloudSimulator::addRoute(httplib::Server& server, Environment environment, const char* route,
                                 const char* method, const char* pattern, Handler handler)
{
    const std::string name = route;
    auto wrapped = [this, environment, name, handler](const Request& request, Response& response) {
        RequestRecord entry;
        const FaultOutcome outcome = applyFault(name, request, response, entry.fault);
        if (outcome == FaultOutcome::None) {
            handler(request, response);
        }
        entry.elapsedMs = inFlight.elapsedMs();
        inFlight.recorded = true;
        entry.environment = environment;
        entry.route = name;
        entry.method = request.method;
        entry.path = request.path;
        entry.query = queryText(request.params);
        entry.status = outcome == FaultOutcome::Dropped ? 0 : response.status;
        entry.requester = requester(environment, name, request);
        QJsonObject body;
        if (response.status >= 400 && parseObject(response.body, body)) {
            entry.serverCode = body.value("error").toObject().value("code").toString().toStdString();
        }
        record(std::move(entry));
    };
    const std::string verb = method;
    if (verb == "GET") {
        server.Get(pattern, wrapped);
    } else if (verb == "POST") {
        server.Post(pattern, wrapped);
    } else if (verb == "DELETE") {
        server.Delete(pattern, wrapped);
    }
}

// Known routes record themselves; the logger, called once the answer is
// written, records the rest.
void OrvCloudSimulator::installRecorder(httplib::Server& server, Environment environment)
{
    server.set_pre_routing_handler([](const Request& request, Response&) {
        inFlight.started = std::chrono::steady_clock::now();
        inFlight.routed = true;
        inFlight.recorded = false;
        // The body is read after this. A client that sends it in a second small
        // segment waits for the acknowledgement of the first: send it now, not
        // after the usual delay of some 40 ms.
        const int socket = request.ssl != nullptr ? SSL_get_fd(request.ssl) : -1;
        if (socket >= 0 && request.has_header("Content-Length")) {
            const int on = 1;
            ::setsockopt(socket, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });
    server.set_logger([this, environment](const Request& request, const Response& response) {
        const InFlight served = inFlight;
        inFlight = InFlight();
        if (served.recorded) {
            return;
        }
        RequestRecord entry;
        entry.elapsedMs = served.elapsedMs();
        entry.environment = environment;
        entry.method = request.method;
        entry.path = request.path;
        entry.query = queryText(request.params);
        entry.status = response.status;
        record(std::move(entry));
    });
}

bool OrvCloudSimulator::authorised(Environment environment, const Request& request, Response& response)
{
    switch (accounts->check(environment, request.get_header_value("Authorization"))) {
    case OrvSimAccounts::Check::Valid:
        return true;
    case OrvSimAccounts::Check::Missing:
        response.set_header("WWW-Authenticate", "Bearer");
        fail(response, 401, "E4011001", "access token missing");
        return false;
    case OrvSimAccounts::Check::Unknown:
        response.set_header("WWW-Authenticate", "Bearer error=\"invalid_token\"");
        fail(response, 401, "E4011001", "access token invalid");
        return false;
    case OrvSimAccounts::Check::Expired:
        response.set_header("WWW-Authenticate", "Bearer error=\"invalid_token\"");
        fail(response, 401, "E4019001", "access token expired");
        return false;
    }
    return false;
}

void OrvCloudSimulator::signIn(Environment environment, const Request& request, Response& response)
{
    QJsonObject body;
    if (!parseObject(request.body, body)) {
        fail(response, 400, "E4001002", "the body is not a JSON object");
        return;
    }
    const QJsonValue loginId = body.value("loginid");
    const QJsonValue password = body.value("password");
    if (!loginId.isString() || !password.isString() || loginId.toString().isEmpty()) {
        fail(response, 400, "E4001001", "\"loginid\" and \"password\" are required");
        return;
    }
    QJsonObject token;
    if (!accounts->signIn(environment, loginId.toString().toStdString(), password.toString().toStdString(), token)) {
        fail(response, 401, "E4011001", "login id or password is incorrect");
        return;
    }
    answer(response, 200, token);
}

void OrvCloudSimulator::issueCertificate(Environment environment, const Request& request, Response& response)
{
    if (!authorised(environment, request, response)) {
        return;
    }
    QJsonObject body;
    if (!parseObject(request.body, body)) {
        fail(response, 400, "E4001002", "the body is not a JSON object");
        return;
    }
    const std::string model = body.value("model").toString().toStdString();
    const std::string deviceNo = body.value("deviceNo").toString().toStdString();
    if (model.empty() || deviceNo.empty()) {
        fail(response, 400, "E4001001", "\"model\" and \"deviceNo\" are required");
        return;
    }
    const std::string thingName = model + "-" + deviceNo;
    if (thingName.size() > 64) {
        fail(response, 400, "E4001002", "the thing name is longer than 64 bytes");
        return;
    }
    // Devices get RSA keys: that is what the head unit loads.
    const OrvPki::Identity identity = OrvPki::issue(thingName, OrvPki::Use::Client, &authority, 365);
    if (identity.certificatePem.empty()) {
        fail(response, 500, "E5001001", "cannot issue the device certificate");
        return;
    }
    QJsonObject certificate;
    certificate.insert("caCertificatePem", QString::fromStdString(authority.certificatePem));
    certificate.insert("certificatePem", QString::fromStdString(identity.certificatePem));
    certificate.insert("privateKey", QString::fromStdString(identity.privateKeyPem));
    answer(response, 200, certificate);
}

// Only a certificate from the device CA whose subject names the thing may act on its shadow.
bool OrvCloudSimulator::thingMayAct(const Request& request, const std::string& thing, const char* verb,
                                    Response& response)
{
    const std::string presented = OrvPki::peerCommonName(request.ssl, true);
    if (presented.empty()) {
        failDevice(response, 401, "a client certificate from the device CA is required");
        return false;
    }
    if (presented != thing) {
        failDevice(response, 403, "the certificate of \"" + presented + "\" may not " + verb + " \"" + thing + "\"");
        return false;
    }
    return true;
}

void OrvCloudSimulator::updateShadow(Environment environment, const Request& request, Response& response)
{
    const std::string thing = request.matches[1];
    if (!thingMayAct(request, thing, "update", response)) {
        return;
    }
    if (request.get_header_value("Content-Type").find("application/json") == std::string::npos) {
        failDevice(response, 415, "the body must be application/json");
        return;
    }
    QJsonObject body;
    if (!parseObject(request.body, body)) {
        failDevice(response, 400, "the body is not a JSON object");
        return;
    }
    QJsonObject acknowledged;
    std::string error;
    if (!shadows[environment]->update(thing, body, acknowledged, error)) {
        failDevice(response, 400, error);
        return;
    }
    answer(response, 200, acknowledged);
}

void OrvCloudSimulator::readShadow(Environment environment, const Request& request, Response& response)
{
    const std::string thing = request.matches[1];
    if (!thingMayAct(request, thing, "read", response)) {
        return;
    }
    QJsonObject document;
    if (!shadows[environment]->document(thing, document)) {
        failDevice(response, 404, "no shadow exists with name: " + thing);
        return;
    }
    answer(response, 200, document);
}

void OrvCloudSimulator::installApi(httplib::Server& server, Environment environment)
{
    OrvSimDataSet* set = data[environment].get();
    // Plain data routes share the bearer and identity checks.
    auto api = [this, environment](std::function<void(const Request&, Response&)> body) {
        return [this, environment, body](const Request& request, Response& response) {
            if (authorised(environment, request, response) && requireIdentity(request, response)) {
                body(request, response);
            }
        };
    };
    using namespace OrvKitDef;
    for (const OrvKitCommands::Command& command : OrvKitCommands::kCommands) {
        Handler handler;
        switch (command.code) {
        case CMD_LOGIN:
            handler = [this, environment](const Request& q, Response& r) { signIn(environment, q, r); };
            break;
        case CMD_GET_CERTIFICATE:
            handler = [this, environment](const Request& q, Response& r) { issueCertificate(environment, q, r); };
            break;
        case CMD_GET_INFO_SUMMARY:
            handler = api([set](const Request&, Response& r) { answer(r, 200, set->summary()); });
            break;
        case CMD_GET_GENRES:
            handler = api([set](const Request&, Response& r) { answer(r, 200, set->genres()); });
            break;
        case CMD_GET_SPOTS:
            handler = api([set](const Request& q, Response& r) {
                OrvSimDataSet::Page page;
                bool hasLon = false;
                bool hasLat = false;
                double lon = 0.0;
                double lat = 0.0;
                if (readPage(q, 3, page, r) && readCoordinate(q, "lon", -180.0, 180.0, hasLon, lon, r) &&
                    readCoordinate(q, "lat", -90.0, 90.0, hasLat, lat, r)) {
                    answer(r, 200, set->spots(page, hasLon && hasLat, lon, lat));
                }
            });
            break;
        case CMD_GET_SPOT_DETAIL:
            handler = api([set](const Request& q, Response& r) {
                QJsonObject spot;
                if (set->spot(q.matches[1], spot)) {
                    answer(r, 200, spot);
                } else {
                    fail(r, 404, "E4041001", "no spot with id " + std::string(q.matches[1]));
                }
            });
            break;
        case CMD_GET_FOLDERS:
            handler = api([set](const Request& q, Response& r) {
                OrvSimDataSet::Page page;
                if (readPage(q, 2, page, r)) {
                    answer(r, 200, set->folders(page));
                }
            });
            break;
        case CMD_GET_DESTINATIONS:
            handler = api([set](const Request&, Response& r) { answer(r, 200, set->destinations()); });
            break;
        case CMD_DELETE_DESTINATION:
            handler = api([set](const Request& q, Response& r) {
                if (set->deleteDestination(q.matches[1])) {
                    r.status = 204;
                } else {
                    fail(r, 404, "E4041001", "no destination with id " + std::string(q.matches[1]));
                }
            });
            break;
        case CMD_GET_PLANS:
            handler = api([set](const Request& q, Response& r) {
                unsigned number = 0;
                unsigned position = 1;
                if (readNumber(q, "number", 1000, number, r) && readNumber(q, "position", 100000, position, r)) {
                    answer(r, 200, set->plans(number, position, q.get_param_value("baseDate")));
                }
            });
            break;
        case CMD_GET_PLANS_SUMMARY:
            handler = api([set](const Request&, Response& r) { answer(r, 200, set->plansSummary()); });
            break;
        case CMD_DELETE_PLANS:
            handler = api([set](const Request&, Response& r) {
                set->deletePlans();
                r.status = 204;
            });
            break;
        default: // the device shadow has an endpoint of its own
            continue;
        }
        const std::string name = routeName(command);
        const char* method = OrvKitCommands::methodName(command.method);
        addRoute(server, environment, name.c_str(), method, routePattern(command.path).c_str(), handler);
        if (std::string(command.testPath) != command.path)
            addRoute(server, environment, name.c_str(), method, routePattern(command.testPath).c_str(), handler);
    }
    installRecorder(server, environment);
}

void OrvCloudSimulator::installShadow(httplib::Server& server, Environment environment)
{
    // The kit posts positions; the console reads the document back from the same path.
    const std::string pattern = routePattern(OrvKitCommands::findCommand(OrvKitDef::CMD_UPDATE_SHADOW)->path);
    addRoute(server, environment, "shadow", "POST", pattern.c_str(),
             [this, environment](const Request& q, Response& r) { updateShadow(environment, q, r); });
    addRoute(server, environment, "shadow-get", "GET", pattern.c_str(),
             [this, environment](const Request& q, Response& r) { readShadow(environment, q, r); });
    installRecorder(server, environment);
}
