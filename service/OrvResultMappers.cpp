#include "service/OrvResultMappers.h"

#include <OrvKitDat.h>
#include <OrvKitDef.h>

#include <QNetworkReply>

#include <string>

using namespace OrvKitDef;

namespace OrvResultMappers {

namespace {

const unsigned int kLoginContext = 1;

// The failures that say the server was never properly reached.
bool isConnectionFailure(unsigned int networkError)
{
    switch (networkError) {
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError:
    case QNetworkReply::SslHandshakeFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::UnknownNetworkError:
        return true;
    default:
        return false;
    }
}

} // namespace

std::string serverErrorCode(const std::vector<uint8_t>& body)
{
    OrvKitDat::ErrorResponse error;
    if (body.empty() || !error.fromJson(body))
        return std::string();
    return error.code;
}

unsigned char serverResultCode(unsigned int networkError, unsigned int httpStatus,
                               const std::vector<uint8_t>& body, unsigned int context)
{
    if (isConnectionFailure(networkError))
        return context == kLoginContext ? RESULT_LOGIN_NETWORK_FAILURE : RESULT_NETWORK_FAILURE;
    switch (httpStatus) {
    case 403:
        return RESULT_FORBIDDEN;
    case 400: {
        const std::string text = serverErrorCode(body);
        if (text == kCodeE4001001) return RESULT_BAD_REQUEST_E4001001;
        if (text == kCodeE4001002) return RESULT_BAD_REQUEST_E4001002;
        return RESULT_UNCLASSIFIED;
    }
    case 401: {
        const std::string text = serverErrorCode(body);
        if (text.size() != 8) return RESULT_UNCLASSIFIED;
        if (text == kCodeE4011001) return RESULT_UNAUTHORIZED;
        if (text.compare(0, 5, kCodeE4019) == 0) return RESULT_TOKEN_EXPIRED;
        if (text == kCodeI4011001) return RESULT_UNAUTHORIZED_I4011001;
        if (text == kCodeI4011002) return RESULT_UNAUTHORIZED_I4011002;
        if (text == kCodeI4011004) return RESULT_UNAUTHORIZED_I4011004;
        return RESULT_UNCLASSIFIED;
    }
    case 404: {
        if (body.empty()) return RESULT_UNCLASSIFIED;
        const std::string text = serverErrorCode(body);
        if (text.size() != 8) return RESULT_NOT_FOUND_UNRECOGNISED;
        return text == kCodeE4041001 ? RESULT_NOT_FOUND : RESULT_UNCLASSIFIED;
    }
    case 500:
        return serverErrorCode(body) == kCodeE5001001 ? RESULT_SERVER_ERROR : RESULT_UNCLASSIFIED;
    case 503:
        return serverErrorCode(body) == kCodeI5031001 ? RESULT_UNAVAILABLE : RESULT_UNCLASSIFIED;
    case 200:
        return RESULT_REPLY_NOT_USABLE;
    default:
        return RESULT_UNCLASSIFIED;
    }
}

unsigned char deviceResultCode(unsigned int networkError, unsigned int httpStatus)
{
    switch (httpStatus) {
    case 400: return DEVICE_RESULT_BAD_REQUEST;
    case 401: return DEVICE_RESULT_UNAUTHORIZED;
    case 405: return DEVICE_RESULT_METHOD_NOT_ALLOWED;
    case 409: return DEVICE_RESULT_CONFLICT;
    case 413: return DEVICE_RESULT_PAYLOAD_TOO_LARGE;
    case 415: return DEVICE_RESULT_UNSUPPORTED_MEDIA_TYPE;
    case 429: return DEVICE_RESULT_TOO_MANY_REQUESTS;
    case 500: return DEVICE_RESULT_SERVER_ERROR;
    case 503: return DEVICE_RESULT_UNAVAILABLE;
    default:
        return (networkError == QNetworkReply::TimeoutError || networkError == QNetworkReply::OperationCanceledError)
                   ? DEVICE_RESULT_TIMEOUT
                   : DEVICE_RESULT_UNCLASSIFIED;
    }
}

} // namespace OrvResultMappers
