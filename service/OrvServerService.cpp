#include "service/OrvServerService.h"

#include "sysdata/SysDataOrvToken.h"
#include "util/OrvArrayUtils.h"
#include "util/OrvHttpUtils.h"
#include "util/OrvLogging.h"

#include <OrvKit.h>
#include <VxSerialization.h>

#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>

#include <cstdio>
#include <ctime>
#include <sstream>

using namespace OrvKitDef;

namespace {

const char kSpotDetailSuffix[] = "/SM3,AF,396J";
const unsigned int kNoPosition = 0xFFFF;

enum Context : unsigned int {
    CONTEXT_LOGIN = 1,
    CONTEXT_SPOTS = 2,
    CONTEXT_SPOT_DETAIL = 3,
    CONTEXT_FOLDERS = 4,
    CONTEXT_DESTINATIONS = 5,
    CONTEXT_DELETE_DESTINATION = 6,
    CONTEXT_PLANS_SUMMARY = 7,
    CONTEXT_PLANS = 8,
    CONTEXT_DELETE_PLANS = 9,
    CONTEXT_INFO_SUMMARY = 10,
    CONTEXT_GENRES = 11,
    CONTEXT_CERTIFICATE = 12,
    CONTEXT_SHADOW = 13
};

std::string decimal(unsigned int value)
{
    return std::to_string(value);
}

// Commands may be shorter than the words they carry; missing bytes read as 0.
std::vector<uint8> paddedTo(const std::vector<uint8>& data, size_t size)
{
    std::vector<uint8> padded(data);
    if (padded.size() < size)
        padded.resize(size, 0);
    return padded;
}

std::string errorCodeText(const std::vector<uint8_t>& body)
{
    OrvKitDat::ErrorResponse error;
    if (!error.fromJson(body))
        return std::string();
    return error.code;
}

QString hex(unsigned long value)
{
    return QStringLiteral("0x%1").arg(value, 2, 16, QLatin1Char('0'));
}

// "command 0x21 <what> -> 0x8071 [2]"; no arrow when nothing is answered.
void logCommand(unsigned long code, const char* what, unsigned long messageId = 0, int payloadByte = -1)
{
    if (!lcOrvService().isInfoEnabled())
        return;
    QString line = QStringLiteral("command %1 %2").arg(hex(code), QLatin1String(what));
    if (messageId != 0)
        line += QStringLiteral(" -> ") + hex(messageId);
    if (payloadByte >= 0)
        line += QStringLiteral(" [%1]").arg(payloadByte);
    qCInfo(lcOrvService).noquote() << line;
}

// "result context 4: status 404 error 0 server code "E4041001" -> 0x8073 [128]".
// Bodies are never logged, only their size, since some carry tokens or keys.
void logResult(unsigned int context, unsigned int networkError, unsigned int httpStatus,
               const std::vector<uint8_t>& body, unsigned long messageId, const std::vector<uint8_t>* failure)
{
    if (!lcOrvService().isInfoEnabled())
        return;
    QString line =
        QStringLiteral("result context %1: status %2 error %3").arg(context).arg(httpStatus).arg(networkError);
    if (failure != nullptr && !body.empty()) {
        const std::string code = errorCodeText(body);
        if (!code.empty())
            line += QStringLiteral(" server code ") + orvQuotedLogText(QString::fromStdString(code));
    }
    if (messageId == 0)
        line += QStringLiteral(" -> no message");
    else if (failure != nullptr && !failure->empty())
        line += QStringLiteral(" -> %1 [%2]").arg(hex(messageId)).arg(failure->front());
    else
        line += QStringLiteral(" -> %1, %2 B").arg(hex(messageId)).arg(body.size());
    qCInfo(lcOrvService).noquote() << line;
}

const char kGetPoolFull[] = "accepted, then refused: all five GET requests busy";
const char kPostPoolFull[] = "accepted, then refused: all five POST requests busy";
const char kDeletePoolFull[] = "accepted, then refused: all five DELETE requests busy";

} // namespace

struct OrvServerService::PlainCommand
{
    unsigned long code;
    Method method;
    const char* path;
    unsigned int context;
    bool needsData;
};

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

void OrvServerService::cleanupHttpRequest(OrvQtHttpRequest** slot)
{
    // Freeing is left to the pool cleanups; the slot stays as it is.
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
    request->setIgnoreSslError(false);
    const QString bundle = QString::fromStdString(preferences->caBundlePath);
    request->setSslConfigurationHook([bundle](QSslConfiguration& configuration) {
        configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
        if (!bundle.isEmpty())
            configuration.setCaCertificates(QSslCertificate::fromPath(bundle, QSsl::Pem));
    });
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
    static const PlainCommand kPlainCommands[] = {
        {CMD_GET_INFO_SUMMARY, Method::Get, "/api/navi/info/v1/summary", CONTEXT_INFO_SUMMARY, false},
        {CMD_GET_SPOTS, Method::Get, "/api/navi/bookmarks/v1/spots", CONTEXT_SPOTS, true},
        {CMD_GET_FOLDERS, Method::Get, "/api/navi/bookmarks/v1/folders", CONTEXT_FOLDERS, true},
        {CMD_GET_DESTINATIONS, Method::Get, "/api/navi/bookmarks/v1/destinations", CONTEXT_DESTINATIONS, false},
        {CMD_DELETE_DESTINATION, Method::Delete, "/api/navi/bookmarks/v1/destinations", CONTEXT_DELETE_DESTINATION, true},
        {CMD_GET_PLANS, Method::Get, "/api/navi/driveplans/v1/plans", CONTEXT_PLANS, true},
        {CMD_DELETE_PLANS, Method::Delete, "/api/navi/driveplans/v1/plans", CONTEXT_DELETE_PLANS, false},
        {CMD_GET_SPOT_DETAIL, Method::Get, "/api/navi/bookmarks/v1/spots", CONTEXT_SPOT_DETAIL, false},
        {CMD_GET_PLANS_SUMMARY, Method::Get, "/api/navi/driveplans/v1/plans/summary", CONTEXT_PLANS_SUMMARY, false},
        {CMD_GET_GENRES, Method::Get, "/api/navi/info/v1/genres", CONTEXT_GENRES, false},
    };

    switch (uniqueID) {
    case CMD_LOGIN:
        runLogin(data);
        return;
    case CMD_GET_CERTIFICATE:
        runCertificate();
        return;
    case CMD_UPDATE_SHADOW:
        runShadowUpdate(data);
        return;
    default:
        break;
    }
    for (const PlainCommand& command : kPlainCommands) {
        if (command.code == uniqueID) {
            runPlainCommand(command, data);
            return;
        }
    }
    logCommand(uniqueID, "unknown, no answer");
    setNetworkAccessStatus();
}

void OrvServerService::runPlainCommand(const PlainCommand& command, const std::vector<uint8>& data)
{
    OrvQtHttpRequest**& handle = requestSlots[command.context - 1];
    resetHttpRequest(handle);

    std::string url = (isTestServer() ? preferences->apiServerTestOrigin : preferences->apiServerOrigin) + command.path;
    if (command.code == CMD_DELETE_DESTINATION)
        url += "/" + std::string(data.begin(), data.end());
    else if (command.code == CMD_GET_SPOT_DETAIL)
        url += kSpotDetailSuffix;

    if (command.needsData && data.empty()) {
        logCommand(command.code, "refused: no command bytes", MSG_REQUEST_ERROR, REQUEST_ERROR_EMPTY_DATA);
        sendCode(REQUEST_ERROR_EMPTY_DATA, MSG_REQUEST_ERROR);
        return;
    }
    logCommand(command.code, "accepted", MSG_ACCEPTED | command.code);
    sendMessage(std::vector<uint8_t>(), MSG_ACCEPTED | command.code);

    OrvQtHttpRequest** slot = nullptr;
    switch (command.method) {
    case Method::Get: slot = createGetRequest(url, command.context, OrvQtHttpRequest::SSL_PROTOCOL_TLSV1_2); break;
    case Method::Delete: slot = createDeleteRequest(url, command.context, OrvQtHttpRequest::SSL_PROTOCOL_TLSV1_2); break;
    case Method::Post: slot = createPostRequest(url, command.context, OrvQtHttpRequest::SSL_PROTOCOL_TLSV1_2); break;
    }
    if (slot == nullptr) {
        const char* busy = command.method == Method::Get    ? kGetPoolFull
                           : command.method == Method::Post ? kPostPoolFull
                                                            : kDeletePoolFull;
        logCommand(command.code, busy, MSG_REQUEST_ERROR, REQUEST_ERROR_NO_REQUEST);
        sendCode(REQUEST_ERROR_NO_REQUEST, MSG_REQUEST_ERROR);
        return;
    }
    OrvQtHttpRequest* request = *slot;
    request->setRequestProperty("Authorization", "Bearer " + SysDataOrvToken::GetInstance()->getTokenAccess());
    request->setRequestParameter("maker", makerText());
    request->setRequestParameter("model", accessoryInfo->model);
    request->setRequestParameter("deviceNo", accessoryInfo->deviceNo);
    addOwnParameters(command.code, data, request);
    handle = slot;
    request->execute();
}

void OrvServerService::addOwnParameters(unsigned long code, const std::vector<uint8>& data,
                                        OrvQtHttpRequest* request) const
{
    if (code == CMD_GET_SPOTS || code == CMD_GET_FOLDERS) {
        const std::vector<uint8> words = paddedTo(data, 8);
        request->setRequestParameter("sort", decimal(OrvArrayUtils::byteArrayToWord(words, 0)));
        request->setRequestParameter("order", decimal(OrvArrayUtils::byteArrayToWord(words, 2)));
        request->setRequestParameter("number", decimal(OrvArrayUtils::byteArrayToWord(words, 4)));
        if (OrvArrayUtils::byteArrayToWord(words, 6) != kNoPosition) {
            if (code == CMD_GET_SPOTS) {
                // Empty coordinates are what the server expects here.
                request->setRequestParameter("lon", "");
                request->setRequestParameter("lat", "");
            }
            request->setRequestParameter("position", "1");
        }
    } else if (code == CMD_GET_PLANS) {
        const std::vector<uint8> words = paddedTo(data, 2);
        // Paging always asks for the first ten plans; the word only switches it on.
        if (OrvArrayUtils::byteArrayToWord(words, 0) != kNoPosition) {
            request->setRequestParameter("number", "10");
            request->setRequestParameter("position", "1");
            request->setRequestParameter("baseDate", "");
        }
    }
}

void OrvServerService::storeAccessoryInfo(const std::vector<uint8>& data)
{
    const unsigned char maker = data.empty() ? 0 : data[0];
    std::string fields[4];
    unsigned int offset = 1;
    bool complete = true;
    for (std::string& field : fields) {
        OrvArrayUtils::byteArrayToString(data, field, offset);
        if (field.empty()) {
            complete = false;
            break;
        }
        offset += static_cast<unsigned int>(field.size()) + 1;
    }
    if (complete) {
        accessoryInfo->makerCode = maker;
        accessoryInfo->model = fields[0];
        accessoryInfo->deviceNo = fields[1];
        accessoryInfo->loginId = fields[2];
        accessoryInfo->password = fields[3];
    } else {
        *accessoryInfo = OrvAccessoryInfo();
    }
}

void OrvServerService::runLogin(const std::vector<uint8>& data)
{
    OrvQtHttpRequest**& handle = requestSlots[CONTEXT_LOGIN - 1];
    resetHttpRequest(handle);
    if (data.empty()) {
        logCommand(CMD_LOGIN, "refused: no command bytes", MSG_LOGIN_ERROR, REQUEST_ERROR_EMPTY_DATA);
        sendCode(REQUEST_ERROR_EMPTY_DATA, MSG_LOGIN_ERROR);
        return;
    }
    storeAccessoryInfo(data);
    if (accessoryInfo->model.empty() || accessoryInfo->deviceNo.empty()) {
        logCommand(CMD_LOGIN, "refused: identity incomplete, wiped", MSG_LOGIN_ERROR, REQUEST_ERROR_NO_REQUEST);
        sendCode(REQUEST_ERROR_NO_REQUEST, MSG_LOGIN_ERROR);
        return;
    }
    const std::string url = (isTestServer() ? preferences->authServerTestOrigin : preferences->authServerOrigin) +
                            "/api/navi/authorization/v1/local";
    SysDataOrvToken* store = SysDataOrvToken::GetInstance();
    const int expiration = store->getTokenExpiration();
    const std::string token = store->getTokenAccess();
    const time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);

    logCommand(CMD_LOGIN, "accepted", MSG_LOGIN_ACCEPTED);
    sendMessage(std::vector<uint8_t>(), MSG_LOGIN_ACCEPTED);
    if (static_cast<long long>(now) < static_cast<long long>(expiration) && !token.empty()) {
        logCommand(CMD_LOGIN, "answered: the stored token is still valid", MSG_LOGIN_RESULT);
        sendMessage(std::vector<uint8_t>(), MSG_LOGIN_RESULT);
        return;
    }
    OrvQtHttpRequest** slot = createPostRequest(url, CONTEXT_LOGIN, OrvQtHttpRequest::SSL_PROTOCOL_TLSV1_2);
    if (slot == nullptr) {
        logCommand(CMD_LOGIN, kPostPoolFull, MSG_LOGIN_ERROR, REQUEST_ERROR_NO_REQUEST);
        sendCode(REQUEST_ERROR_NO_REQUEST, MSG_LOGIN_ERROR);
        return;
    }
    std::vector<uint8_t> body;
    OrvHttpUtils::appendTextParameter(body, "loginid", accessoryInfo->loginId, true, false);
    OrvHttpUtils::appendTextParameter(body, "password", accessoryInfo->password, false, true);
    OrvQtHttpRequest* request = *slot;
    request->setMultiPartParam(body);
    request->setRequestProperty("Content-Type", "application/json");
    handle = slot;
    request->execute();
}

void OrvServerService::runCertificate()
{
    if (!caCertificatePem.empty() && !certificatePem.empty() && !privateKey.empty()) {
        logCommand(CMD_GET_CERTIFICATE, "answered: a certificate is held", MSG_CERTIFICATE_RESULT);
        sendMessage(std::vector<uint8_t>(), MSG_CERTIFICATE_RESULT);
        return;
    }
    OrvQtHttpRequest**& handle = requestSlots[CONTEXT_CERTIFICATE - 1];
    resetHttpRequest(handle);
    const std::string url = isTestServer() ? preferences->certificateTestOrigin + "/dev/cert"
                                           : preferences->certificateOrigin + "/prod/cert";
    OrvQtHttpRequest** slot = createPostRequest(url, CONTEXT_CERTIFICATE, OrvQtHttpRequest::SSL_PROTOCOL_TLSV1_2);
    if (slot == nullptr) {
        logCommand(CMD_GET_CERTIFICATE, "refused: all five POST requests busy", MSG_REQUEST_ERROR,
                   REQUEST_ERROR_NO_REQUEST);
        sendCode(REQUEST_ERROR_NO_REQUEST, MSG_REQUEST_ERROR);
        return;
    }
    logCommand(CMD_GET_CERTIFICATE, "started (no acceptance message)");
    OrvQtHttpRequest* request = *slot;
    request->setRequestProperty("Authorization", "Bearer " + SysDataOrvToken::GetInstance()->getTokenAccess());
    OrvKitDat::CertificateRequest certificateRequest;
    certificateRequest.model = accessoryInfo->model;
    certificateRequest.deviceNo = accessoryInfo->deviceNo;
    std::vector<uint8_t> body;
    certificateRequest.makeJson(body);
    request->setMultiPartParam(body);
    request->setRequestProperty("Content-Type", "application/json");
    handle = slot;
    request->execute();
}

void OrvServerService::runShadowUpdate(const std::vector<uint8>& data)
{
    OrvQtHttpRequest**& handle = requestSlots[CONTEXT_SHADOW - 1];
    resetHttpRequest(handle);
    const std::string thingName = accessoryInfo->model + "-" + accessoryInfo->deviceNo;
    const std::string url = (isTestServer() ? preferences->deviceShadowTestOrigin : preferences->deviceShadowOrigin) +
                            "/things/" + thingName + "/shadow";
    if (data.empty()) {
        logCommand(CMD_UPDATE_SHADOW, "refused: no command bytes", MSG_REQUEST_ERROR, REQUEST_ERROR_EMPTY_DATA);
        sendCode(REQUEST_ERROR_EMPTY_DATA, MSG_REQUEST_ERROR);
        return;
    }
    logCommand(CMD_UPDATE_SHADOW, "accepted", MSG_ACCEPTED | CMD_UPDATE_SHADOW);
    sendMessage(std::vector<uint8_t>(), MSG_ACCEPTED | CMD_UPDATE_SHADOW);
    OrvQtHttpRequest** slot = createPostRequest(url, CONTEXT_SHADOW, OrvQtHttpRequest::SSL_PROTOCOL_TLSV1_2);
    if (slot == nullptr) {
        logCommand(CMD_UPDATE_SHADOW, kPostPoolFull, MSG_REQUEST_ERROR, REQUEST_ERROR_NO_REQUEST);
        sendCode(REQUEST_ERROR_NO_REQUEST, MSG_REQUEST_ERROR);
        return;
    }

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

    OrvQtHttpRequest* request = *slot;
    request->setMultiPartParam(body);
    request->setRequestProperty("Content-Type", "application/json");

    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setProtocol(QSsl::TlsV1_2);
    const QSslCertificate caCertificate(QByteArray::fromStdString(caCertificatePem), QSsl::Pem);
    if (!caCertificate.isNull())
        configuration.setCaCertificates(QList<QSslCertificate>() << caCertificate);
    const QSslCertificate certificate(QByteArray::fromStdString(certificatePem), QSsl::Pem);
    if (!certificate.isNull())
        configuration.setLocalCertificateChain(QList<QSslCertificate>() << certificate);
    const QSslKey key(QByteArray::fromStdString(privateKey), QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey, QByteArray());
    if (!key.isNull())
        configuration.setPrivateKey(key);
    if (caCertificate.isNull() || certificate.isNull() || key.isNull())
        qCInfo(lcOrvService).noquote()
            << QStringLiteral("command 0x61 sent without part of its TLS identity: CA certificate %1, "
                              "client certificate %2, private key %3 (fetch one with command 0x65)")
                   .arg(caCertificate.isNull() ? QStringLiteral("missing") : QStringLiteral("set"),
                        certificate.isNull() ? QStringLiteral("missing") : QStringLiteral("set"),
                        key.isNull() ? QStringLiteral("missing") : QStringLiteral("set"));

    handle = slot;
    request->execute2(configuration);
}

// ---------------------------------------------------------------------------
// Completions

int OrvServerService::httpFinished(unsigned int networkError, unsigned int httpStatus,
                                   const std::vector<uint8_t>& body, unsigned int context)
{
    struct Route {
        unsigned int context;
        unsigned int successStatus;
        unsigned long successId;
        bool deviceMapper;
    };
    static const Route kRoutes[] = {
        {CONTEXT_SPOTS, 200, MSG_SPOTS_RESULT, false},
        {CONTEXT_FOLDERS, 200, MSG_FOLDERS_RESULT, false},
        {CONTEXT_DESTINATIONS, 200, MSG_DESTINATIONS_RESULT, false},
        {CONTEXT_DELETE_DESTINATION, 204, MSG_DELETE_DESTINATION_RESULT, false},
        {CONTEXT_PLANS, 200, MSG_PLANS_RESULT, false},
        {CONTEXT_DELETE_PLANS, 204, MSG_DELETE_PLANS_RESULT, false},
        {CONTEXT_INFO_SUMMARY, 200, MSG_INFO_SUMMARY_RESULT, false},
        {CONTEXT_SHADOW, 200, MSG_SHADOW_RESULT, true},
    };

    std::vector<uint8_t> failure;
    if (context == CONTEXT_LOGIN) {
        OrvKitDat::AuthResponse auth;
        if (networkError == 0 && httpStatus == 200 && auth.fromJson(body) && auth.role == kMakerCode) {
            SysDataOrvToken* store = SysDataOrvToken::GetInstance();
            store->storeTokenAccess(auth.accessToken);
            const uint32_t expirationDate = auth.expirationDate;
            // 0x7FFFFFFF stands for a token that does not expire.
            const int expiration = (expirationDate >= 1 && expirationDate <= 2147483646)
                                       ? static_cast<int>(expirationDate) : 0x7FFFFFFF;
            store->storeTokenExpiration(expiration);
            // A new login invalidates the device certificate.
            caCertificatePem.clear();
            certificatePem.clear();
            privateKey.clear();
            logResult(context, networkError, httpStatus, body, MSG_LOGIN_RESULT, nullptr);
            sendMessage(body, MSG_LOGIN_RESULT);
        } else {
            onFinishOrvaneAssistErrorSet(networkError, httpStatus, body, context, failure);
            logResult(context, networkError, httpStatus, body, MSG_LOGIN_RESULT_ERROR, &failure);
            sendMessage(failure, MSG_LOGIN_RESULT_ERROR);
        }
    } else if (context == CONTEXT_CERTIFICATE) {
        if (networkError == 0 && (httpStatus == 200 || httpStatus == 201)) {
            OrvKitDat::CertificateResponse certificate;
            if (certificate.fromJson(body)) {
                caCertificatePem = certificate.caCertificatePem;
                certificatePem = certificate.certificatePem;
                privateKey = certificate.privateKey;
                logResult(context, networkError, httpStatus, body, MSG_CERTIFICATE_RESULT, nullptr);
                sendMessage(body, MSG_CERTIFICATE_RESULT);
            } else {
                logResult(context, networkError, httpStatus, body, 0, nullptr);
            }
        } else {
            onFinishOrvaneAssistErrorSetAws(networkError, httpStatus, body, context, failure);
            logResult(context, networkError, httpStatus, body, MSG_CERTIFICATE_ERROR, &failure);
            sendMessage(failure, MSG_CERTIFICATE_ERROR);
        }
    } else {
        bool routed = false;
        for (const Route& route : kRoutes) {
            if (route.context != context)
                continue;
            routed = true;
            if (networkError == 0 && httpStatus == route.successStatus) {
                logResult(context, networkError, httpStatus, body, route.successId, nullptr);
                sendMessage(body, route.successId);
            } else {
                if (route.deviceMapper)
                    onFinishOrvaneAssistErrorSetAws(networkError, httpStatus, body, context, failure);
                else
                    onFinishOrvaneAssistErrorSet(networkError, httpStatus, body, context, failure);
                logResult(context, networkError, httpStatus, body, MSG_RESULT_ERROR, &failure);
                sendMessage(failure, MSG_RESULT_ERROR);
            }
            break;
        }
        if (!routed)
            logResult(context, networkError, httpStatus, body, 0, nullptr);
    }

    cleanupAllHttpRequests();
    return setNetworkAccessStatus();
}

void OrvServerService::onFinishOrvaneAssistErrorSet(unsigned int networkError, unsigned int httpStatus,
                                                    const std::vector<uint8_t>& body, unsigned int context,
                                                    std::vector<uint8_t>& out)
{
    unsigned char code = RESULT_UNCLASSIFIED;
    if ((networkError >= 1 && networkError <= 7) || networkError == 99) {
        code = context == CONTEXT_LOGIN ? RESULT_LOGIN_NETWORK_FAILURE : RESULT_NETWORK_FAILURE;
    } else if (httpStatus == 403) {
        code = RESULT_FORBIDDEN;
    } else if (httpStatus == 400) {
        const std::string text = body.empty() ? std::string() : errorCodeText(body);
        if (text == kCodeE4001001) code = RESULT_BAD_REQUEST_E4001001;
        else if (text == kCodeE4001002) code = RESULT_BAD_REQUEST_E4001002;
    } else if (httpStatus == 401) {
        const std::string text = body.empty() ? std::string() : errorCodeText(body);
        if (text.size() == 8) {
            if (text == kCodeE4011001) code = RESULT_UNAUTHORIZED;
            else if (text.compare(0, 5, kCodeE4019) == 0) code = RESULT_TOKEN_EXPIRED;
            else if (text == kCodeI4011001) code = RESULT_UNAUTHORIZED_I4011001;
            else if (text == kCodeI4011002) code = RESULT_UNAUTHORIZED_I4011002;
            else if (text == kCodeI4011004) code = RESULT_UNAUTHORIZED_I4011004;
        }
    } else if (httpStatus == 404) {
        if (!body.empty()) {
            const std::string text = errorCodeText(body);
            if (text.size() != 8) code = RESULT_NOT_FOUND_UNRECOGNISED;
            else if (text == kCodeE4041001) code = RESULT_NOT_FOUND;
        }
    } else if (httpStatus == 500) {
        if (!body.empty() && errorCodeText(body) == kCodeE5001001) code = RESULT_SERVER_ERROR;
    } else if (httpStatus == 503) {
        if (!body.empty() && errorCodeText(body) == kCodeI5031001) code = RESULT_UNAVAILABLE;
    } else if (httpStatus == 200) {
        code = RESULT_REPLY_NOT_USABLE;
    }
    out.push_back(code);
}

void OrvServerService::onFinishOrvaneAssistErrorSetAws(unsigned int networkError, unsigned int httpStatus,
                                                       const std::vector<uint8_t>&, unsigned int,
                                                       std::vector<uint8_t>& out)
{
    unsigned char code;
    switch (httpStatus) {
    case 400: code = DEVICE_RESULT_BAD_REQUEST; break;
    case 401: code = DEVICE_RESULT_UNAUTHORIZED; break;
    case 405: code = DEVICE_RESULT_METHOD_NOT_ALLOWED; break;
    case 409: code = DEVICE_RESULT_CONFLICT; break;
    case 413: code = DEVICE_RESULT_PAYLOAD_TOO_LARGE; break;
    case 415: code = DEVICE_RESULT_UNSUPPORTED_MEDIA_TYPE; break;
    case 429: code = DEVICE_RESULT_TOO_MANY_REQUESTS; break;
    case 500: code = DEVICE_RESULT_SERVER_ERROR; break;
    case 503: code = DEVICE_RESULT_UNAVAILABLE; break;
    default:
        code = (networkError == 4 || networkError == 5) ? DEVICE_RESULT_TIMEOUT : DEVICE_RESULT_UNCLASSIFIED;
        break;
    }
    out.push_back(code);
}
