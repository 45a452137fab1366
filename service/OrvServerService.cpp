#include "service/OrvServerService.h"

#include "http/OrvClientTls.h"
#include "service/OrvCommandTable.h"
#include "service/OrvResultMappers.h"
#include "service/OrvServiceLog.h"
#include "sysdata/SysDataOrvToken.h"
#include "util/OrvArrayUtils.h"
#include "util/OrvHttpUtils.h"
#include "util/OrvLogging.h"

#include <OrvKit.h>
#include <VxSerialization.h>

#include <cstdio>
#include <ctime>

using namespace OrvKitDef;

using OrvServiceLog::logCommand;
using OrvServiceLog::logResult;
using OrvServiceLog::hex;

OrvServerService::OrvServerService(OrvKitPreferences* prefs, QObject* parent)
    : OrvQtHandler(parent), preferences(prefs), listener(nullptr), networkAccessStatus(0),
      accessoryInfo(new OrvAccessoryInfo()), requestSlots{}
{
}

OrvServerService::~OrvServerService()
{
    delete accessoryInfo;
    accessoryInfo = nullptr;
}

void OrvServerService::openStart() {}
void OrvServerService::closeStart() {}

void OrvServerService::openEnd()
{
    if (OrvKitListener* current = listener.load())
        current->onOpenEnd();
}

void OrvServerService::closeEnd()
{
    if (OrvKitListener* current = listener.load())
        current->onCloseEnd();
}

int OrvServerService::setListener(OrvKitListener* newListener)
{
    listener = newListener;
    return 0;
}

int OrvServerService::removeListener(OrvKitListener*)
{
    listener = nullptr;
    return 0;
}

void OrvServerService::sendMessage(const std::vector<uint8_t>& message, unsigned long messageId)
{
    OrvKitListener* current = listener.load();
    if (current == nullptr)
        return;
    CmdData out;
    out.data = const_cast<unsigned char*>(message.data());
    out.size = static_cast<uint32_t>(message.size());
    out.uniqueID = messageId;
    current->onMessage(out);
}

void OrvServerService::sendCode(unsigned char code, unsigned long messageId)
{
    sendMessage(std::vector<uint8_t>(1, code), messageId);
}

bool OrvServerService::isHttpRequestBusy(OrvQtHttpRequest** slot) const
{
    if (slot == nullptr || *slot == nullptr)
        return false;
    return (*slot)->isBusy();
}

int OrvServerService::setNetworkAccessStatus()
{
    int busy = 0;
    for (OrvQtHttpRequest** slot : requestSlots) {
        if (isHttpRequestBusy(slot)) {
            busy = 1;
            break;
        }
    }
    if (networkAccessStatus != busy)
        networkAccessStatus = busy;
    return networkAccessStatus;
}

void OrvServerService::resetHttpRequest(OrvQtHttpRequest**& slot)
{
    // A handle outlives its request, and the pool slot it points at may by
    // now hold another command's request: that one is not ours to cancel.
    unsigned int context = 0;
    for (int i = 0; i < kRequestSlotCount; ++i)
        if (&requestSlots[i] == &slot)
            context = static_cast<unsigned int>(i + 1);
    if (slot != nullptr && *slot != nullptr && (context == 0 || (*slot)->getContext() == context))
        (*slot)->cancel();
    slot = nullptr;
}

void OrvServerService::cancelAllHttpRequests()
{
    for (OrvQtHttpRequest**& slot : requestSlots)
        resetHttpRequest(slot);
}

void OrvServerService::asyncHandlerCancel()
{
    cancelAllHttpRequests();
    setNetworkAccessStatus();
}

// Kept for the platform interface; the kit does not call it for any effect:
// freeing is left to the pool cleanups and the slot stays as it is.
void OrvServerService::cleanupHttpRequest(OrvQtHttpRequest** slot)
{
    (void)isHttpRequestBusy(slot);
}

void OrvServerService::cleanupAllHttpRequests()
{
    cleanupGetRequests(false);
    cleanupDeleteRequests(false);
    cleanupPostRequests(false);
    for (OrvQtHttpRequest** slot : requestSlots)
        cleanupHttpRequest(slot);
}

int OrvServerService::httpCanceled(unsigned int context)
{
    qCDebug(lcOrvService).noquote() << QStringLiteral("result context %1: canceled -> no message").arg(context);
    cleanupAllHttpRequests();
    return setNetworkAccessStatus();
}

bool OrvServerService::isTestServer() const
{
    const std::string loginId = accessoryInfo->loginId;
    if (loginId.size() != 12 || loginId.compare(0, 10, "QahvomTPsk") != 0)
        return false;
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return isDigit(loginId[10]) && isDigit(loginId[11]);
}

void OrvServerService::prepareRequest(OrvQtHttpRequest* request)
{
    if (preferences == nullptr || !preferences->verifyServerCertificates)
        return;
    OrvClientTls::verifyServer(*request, preferences->caBundlePath);
}

std::string OrvServerService::makerText() const
{
    char text[16];
    std::snprintf(text, sizeof(text), "%02u", static_cast<unsigned int>(accessoryInfo->makerCode));
    return text;
}

// ---------------------------------------------------------------------------
// Commands

void OrvServerService::recvCommand(const std::vector<uint8>& data, unsigned long uniqueID)
{
    qCDebug(lcOrvService).noquote() << QStringLiteral("command %1 received, %2 B").arg(hex(uniqueID)).arg(data.size());
    const OrvCommandRow* row = OrvCommandRow::byCode(uniqueID);
    if (row == nullptr) {
        logCommand(uniqueID, QStringLiteral("unknown, no answer"));
        setNetworkAccessStatus();
        return;
    }
    switch (uniqueID) {
    case CMD_LOGIN: runLogin(*row, data); return;
    case CMD_GET_CERTIFICATE: runCertificate(*row); return;
    case CMD_UPDATE_SHADOW: runShadowUpdate(*row, data); return;
    default: runPlainCommand(*row, data); return;
    }
}

std::string OrvServerService::originOf(OrvKitCommands::Origin origin) const
{
    using OrvKitCommands::Origin;
    const OrvKitPreferences& p = *preferences;
    const bool test = isTestServer();
    switch (origin) {
    case Origin::Auth: return test ? p.authServerTestOrigin : p.authServerOrigin;
    case Origin::Api: return test ? p.apiServerTestOrigin : p.apiServerOrigin;
    case Origin::Certificate: return test ? p.certificateTestOrigin : p.certificateOrigin;
    case Origin::DeviceShadow: return test ? p.deviceShadowTestOrigin : p.deviceShadowOrigin;
    }
    return std::string();
}

// The origin and path of the row, with its "{...}" segment filled in.
std::string OrvServerService::urlOf(const OrvCommandRow& row, const std::string& segment) const
{
    std::string path = isTestServer() ? row.command.testPath : row.command.path;
    const size_t open = path.find('{');
    if (open != std::string::npos)
        path.replace(open, path.find('}', open) + 1 - open, segment);
    return originOf(row.command.origin) + path;
}

// Refuses a command that needs parameters and has none; true when refused.
bool OrvServerService::refuseEmpty(const OrvCommandRow& row, const std::vector<uint8>& data)
{
    if (!row.command.needsData || !data.empty())
        return false;
    logCommand(row.command.code, QStringLiteral("refused: no command bytes"), row.command.refused,
               REQUEST_ERROR_EMPTY_DATA);
    sendCode(REQUEST_ERROR_EMPTY_DATA, row.command.refused);
    return true;
}

void OrvServerService::accept(const OrvCommandRow& row, unsigned long messageId)
{
    logCommand(row.command.code, QStringLiteral("accepted"), messageId);
    sendMessage(std::vector<uint8_t>(), messageId);
}

bool OrvServerService::startRequest(const OrvCommandRow& row, const std::string& url,
                                    const std::function<void(OrvQtHttpRequest&)>& fill,
                                    const QSslConfiguration* clientTls)
{
    using OrvKitCommands::Method;
    const Method method = row.command.method;
    const auto tls = OrvQtHttpRequest::SSL_PROTOCOL_TLSV1_2;
    OrvQtHttpRequest** slot = method == Method::Get    ? createGetRequest(url, row.context, tls)
                              : method == Method::Post ? createPostRequest(url, row.context, tls)
                                                       : createDeleteRequest(url, row.context, tls);
    if (slot == nullptr) {
        const QString busy = QStringLiteral("%1refused: all five %2 requests busy")
                                 .arg(row.command.accepted != 0 ? QStringLiteral("accepted, then ") : QString(),
                                      QLatin1String(OrvKitCommands::methodName(method)));
        logCommand(row.command.code, busy, row.command.refused, REQUEST_ERROR_NO_REQUEST);
        sendCode(REQUEST_ERROR_NO_REQUEST, row.command.refused);
        return false;
    }
    OrvQtHttpRequest* request = *slot;
    fill(*request);
    requestSlots[row.context - 1] = slot;
    if (clientTls != nullptr)
        request->execute2(*clientTls);
    else
        request->execute();
    return true;
}

std::string OrvServerService::bearer()
{
    return "Bearer " + SysDataOrvToken::GetInstance()->getTokenAccess();
}

void OrvServerService::runPlainCommand(const OrvCommandRow& row, const std::vector<uint8>& data)
{
    resetHttpRequest(requestSlots[row.context - 1]);
    const std::string segment = row.command.code == CMD_DELETE_DESTINATION ? std::string(data.begin(), data.end())
                                                                           : OrvKitCommands::kFixedSpotId;
    const std::string url = urlOf(row, segment);
    if (refuseEmpty(row, data))
        return;
    accept(row, row.command.accepted);
    startRequest(row, url, [this, &row, &data](OrvQtHttpRequest& request) {
        request.setRequestProperty("Authorization", bearer());
        request.setRequestParameter("maker", makerText());
        request.setRequestParameter("model", accessoryInfo->model);
        request.setRequestParameter("deviceNo", accessoryInfo->deviceNo);
        if (row.addParameters != nullptr)
            row.addParameters(data, request);
    });
}

void OrvServerService::storeAccessoryInfo(const std::vector<uint8>& data)
{
    *accessoryInfo = OrvAccessoryInfo::fromBlock(data);
}

void OrvServerService::runLogin(const OrvCommandRow& row, const std::vector<uint8>& data)
{
    resetHttpRequest(requestSlots[row.context - 1]);
    if (refuseEmpty(row, data))
        return;
    storeAccessoryInfo(data);
    if (accessoryInfo->model.empty() || accessoryInfo->deviceNo.empty()) {
        logCommand(CMD_LOGIN, QStringLiteral("refused: identity incomplete, wiped"), MSG_LOGIN_ERROR,
                   REQUEST_ERROR_NO_REQUEST);
        sendCode(REQUEST_ERROR_NO_REQUEST, MSG_LOGIN_ERROR);
        return;
    }
    const std::string url = urlOf(row, std::string());
    SysDataOrvToken* store = SysDataOrvToken::GetInstance();
    const int expiration = store->getTokenExpiration();
    const std::string token = store->getTokenAccess();
    const time_t now = time(nullptr);
    // Kept for the platform interface; the kit does not use the broken-down time.
    struct tm local;
    localtime_r(&now, &local);

    accept(row, MSG_LOGIN_ACCEPTED);
    if (static_cast<long long>(now) < static_cast<long long>(expiration) && !token.empty()) {
        logCommand(CMD_LOGIN, QStringLiteral("answered: the stored token is still valid"), MSG_LOGIN_RESULT);
        sendMessage(std::vector<uint8_t>(), MSG_LOGIN_RESULT);
        return;
    }
    startRequest(row, url, [this](OrvQtHttpRequest& request) {
        std::vector<uint8_t> body;
        OrvHttpUtils::appendTextParameter(body, "loginid", accessoryInfo->loginId, true, false);
        OrvHttpUtils::appendTextParameter(body, "password", accessoryInfo->password, false, true);
        request.setMultiPartParam(body);
        request.setRequestProperty("Content-Type", "application/json");
    });
}

void OrvServerService::runCertificate(const OrvCommandRow& row)
{
    if (!caCertificatePem.empty() && !certificatePem.empty() && !privateKey.empty()) {
        logCommand(CMD_GET_CERTIFICATE, QStringLiteral("answered: a certificate is held"), MSG_CERTIFICATE_RESULT);
        sendMessage(std::vector<uint8_t>(), MSG_CERTIFICATE_RESULT);
        return;
    }
    resetHttpRequest(requestSlots[row.context - 1]);
    startRequest(row, urlOf(row, std::string()), [this](OrvQtHttpRequest& request) {
        logCommand(CMD_GET_CERTIFICATE, QStringLiteral("started (no acceptance message)"));
        request.setRequestProperty("Authorization", bearer());
        OrvKitDat::CertificateRequest certificateRequest;
        certificateRequest.model = accessoryInfo->model;
        certificateRequest.deviceNo = accessoryInfo->deviceNo;
        std::vector<uint8_t> body;
        certificateRequest.makeJson(body);
        request.setMultiPartParam(body);
        request.setRequestProperty("Content-Type", "application/json");
    });
}

void OrvServerService::runShadowUpdate(const OrvCommandRow& row, const std::vector<uint8>& data)
{
    resetHttpRequest(requestSlots[row.context - 1]);
    const std::string url = urlOf(row, accessoryInfo->model + "-" + accessoryInfo->deviceNo);
    if (refuseEmpty(row, data))
        return;
    accept(row, row.command.accepted);
    const OrvClientTls tls = OrvClientTls::fromPem(caCertificatePem, certificatePem, privateKey);
    startRequest(
        row, url,
        [this, &data, &tls](OrvQtHttpRequest& request) {
            VxSerialization::Archive archive;
            archive.clear();
            archive.write(data.data(), data.size());
            OrvKitDat::CarPositions positions;
            positions.unserialize(archive);
            positions.maker = makerText();
            positions.model = accessoryInfo->model;
            positions.deviceNo = accessoryInfo->deviceNo;
            std::vector<uint8_t> body;
            positions.makeJson(body);
            request.setMultiPartParam(body);
            request.setRequestProperty("Content-Type", "application/json");
            if (!tls.hasCaCertificate || !tls.hasCertificate || !tls.hasPrivateKey)
                OrvServiceLog::logPartialIdentity(tls.hasCaCertificate, tls.hasCertificate, tls.hasPrivateKey);
        },
        &tls.configuration);
}

// ---------------------------------------------------------------------------
// Completions

int OrvServerService::httpFinished(unsigned int networkError, unsigned int httpStatus,
                                   const std::vector<uint8_t>& body, unsigned int context)
{
    const OrvCommandRow* row = OrvCommandRow::byContext(context);
    unsigned long messageId = 0;
    std::vector<uint8_t> failure;
    if (row != nullptr && row->command.passedOn) {
        bool success = networkError == 0 && row->succeeds(httpStatus);
        bool answered = true;
        if (success && context == CONTEXT_LOGIN)
            success = keepToken(body);
        else if (success && context == CONTEXT_CERTIFICATE)
            answered = keepCertificate(body);
        if (!success) {
            failure.push_back(row->mapper == OrvCommandRow::Mapper::Device
                                  ? OrvResultMappers::deviceResultCode(networkError, httpStatus)
                                  : OrvResultMappers::serverResultCode(networkError, httpStatus, body, context));
            messageId = row->command.failure;
        } else if (answered) {
            messageId = row->command.success;
        }
    }
    logResult(context, networkError, httpStatus, body, messageId, failure.empty() ? nullptr : &failure);
    if (messageId != 0)
        sendMessage(failure.empty() ? body : failure, messageId);
    cleanupAllHttpRequests();
    return setNetworkAccessStatus();
}

bool OrvServerService::keepToken(const std::vector<uint8_t>& body)
{
    OrvKitDat::AuthResponse auth;
    if (!auth.fromJson(body) || auth.role != kMakerCode)
        return false;
    SysDataOrvToken* store = SysDataOrvToken::GetInstance();
    store->storeTokenAccess(auth.accessToken);
    const uint32_t expirationDate = auth.expirationDate;
    const int expiration = (expirationDate >= 1 && expirationDate <= kLastExpiringDate)
                               ? static_cast<int>(expirationDate) : kNeverExpires;
    store->storeTokenExpiration(expiration);
    // A new login invalidates the device certificate.
    caCertificatePem.clear();
    certificatePem.clear();
    privateKey.clear();
    return true;
}

bool OrvServerService::keepCertificate(const std::vector<uint8_t>& body)
{
    OrvKitDat::CertificateResponse certificate;
    if (!certificate.fromJson(body))
        return false;
    caCertificatePem = certificate.caCertificatePem;
    certificatePem = certificate.certificatePem;
    privateKey = certificate.privateKey;
    return true;
}

void OrvServerService::onFinishOrvaneAssistErrorSet(unsigned int networkError, unsigned int httpStatus,
                                                    const std::vector<uint8_t>& body, unsigned int context,
                                                    std::vector<uint8_t>& out)
{
    out.push_back(OrvResultMappers::serverResultCode(networkError, httpStatus, body, context));
}

void OrvServerService::onFinishOrvaneAssistErrorSetAws(unsigned int networkError, unsigned int httpStatus,
                                                       const std::vector<uint8_t>&, unsigned int,
                                                       std::vector<uint8_t>& out)
{
    out.push_back(OrvResultMappers::deviceResultCode(networkError, httpStatus));
}
