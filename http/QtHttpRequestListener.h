#ifndef QT_HTTP_REQUEST_LISTENER_H
#define QT_HTTP_REQUEST_LISTENER_H

#include <vector>

// Receives the outcome of a request object. networkError is the
// QNetworkReply::NetworkError value (0 = none) or 999 for a redirect that
// was not followed; httpStatus is 0 when the reply carried no status.
class QtHttpRequestListener
{
public:
    virtual ~QtHttpRequestListener() {}
    virtual void onHttpFinished(unsigned int networkError, unsigned int httpStatus,
                                const std::vector<unsigned char>& body, unsigned int context)
    {
        (void)networkError; (void)httpStatus; (void)body; (void)context;
    }
    virtual void onHttpCanceled(unsigned int context) { (void)context; }
};

#endif
