#ifndef ORV_SERVER_SERVICE_H
#define ORV_SERVER_SERVICE_H

#include "service/OrvAccessoryInfo.h"
#include "service/OrvCommandTable.h"
#include "service/OrvQtHandler.h"
#include "util/OrvLogger.h"

#include <atomic>
#include <climits>
#include <functional>
#include <string>
#include <vector>

class OrvKitListener;
class OrvKitPreferences;
class QSslConfiguration;

// One open period of the library: turns commands into requests and
// completions into result messages, all on the event thread.
class OrvServerService : public OrvQtHandler
{
    Q_OBJECT
public:
    static constexpr int kRequestSlotCount = 13;

    OrvServerService(OrvKitPreferences* preferences, QObject* parent);
    ~OrvServerService() override;

    int setListener(OrvKitListener* listener);
    int removeListener(OrvKitListener* listener);
    void sendMessage(const std::vector<uint8_t>& message, unsigned long messageId);

    bool isHttpRequestBusy(OrvQtHttpRequest** slot) const;
    int setNetworkAccessStatus();
    void resetHttpRequest(OrvQtHttpRequest**& slot);
    void cancelAllHttpRequests();
    void asyncHandlerCancel(); // kept for the platform interface; the kit does not call it
    void cleanupHttpRequest(OrvQtHttpRequest** slot);
    void cleanupAllHttpRequests();
    bool isTestServer() const;

    void storeAccessoryInfo(const std::vector<uint8>& data);

    void onFinishOrvaneAssistErrorSet(unsigned int networkError, unsigned int httpStatus,
                                      const std::vector<uint8_t>& body, unsigned int context,
                                      std::vector<uint8_t>& out);
    void onFinishOrvaneAssistErrorSetAws(unsigned int networkError, unsigned int httpStatus,
                                         const std::vector<uint8_t>& body, unsigned int context,
                                         std::vector<uint8_t>& out);

    int getNetworkAccessStatus() const { return networkAccessStatus; }

protected:
    // The event thread's entry points; tests reach them through a subclass.
    void recvCommand(const std::vector<uint8>& data, unsigned long uniqueID) override;
    int httpFinished(unsigned int networkError, unsigned int httpStatus,
                     const std::vector<uint8_t>& body, unsigned int context) override;
    int httpCanceled(unsigned int context) override;
    const OrvAccessoryInfo& accessoryInfoView() const { return *accessoryInfo; }

    void openStart() override;
    void openEnd() override;
    void closeStart() override;
    void closeEnd() override;
    void prepareRequest(OrvQtHttpRequest* request) override;

private:
    // "TokenExpiration" of a token that does not expire, and the last date
    // that is taken as it stands.
    static constexpr int kNeverExpires = INT32_MAX;
    static constexpr uint32_t kLastExpiringDate = INT32_MAX - 1;

    void runPlainCommand(const OrvCommandRow& row, const std::vector<uint8>& data);
    void runLogin(const OrvCommandRow& row, const std::vector<uint8>& data);
    void runCertificate(const OrvCommandRow& row);
    void runShadowUpdate(const OrvCommandRow& row, const std::vector<uint8>& data);
    bool refuseEmpty(const OrvCommandRow& row, const std::vector<uint8>& data);
    void accept(const OrvCommandRow& row, unsigned long messageId);
    // Creates the row's request, lets fill set headers and body, tracks it in
    // the row's slot and starts it; refuses the command when the pool is full.
    bool startRequest(const OrvCommandRow& row, const std::string& url,
                      const std::function<void(OrvQtHttpRequest&)>& fill,
                      const QSslConfiguration* clientTls = nullptr);
    std::string originOf(OrvKitCommands::Origin origin) const;
    std::string urlOf(const OrvCommandRow& row, const std::string& segment) const;
    static std::string bearer();
    bool keepToken(const std::vector<uint8_t>& body);
    bool keepCertificate(const std::vector<uint8_t>& body);
    std::string makerText() const;
    void sendCode(unsigned char code, unsigned long messageId);

    OrvKitPreferences* preferences;
    std::atomic<OrvKitListener*> listener;
    int networkAccessStatus;
    OrvLogger logger; // kept for the platform interface; the kit does not call it
    std::string caCertificatePem;
    std::string certificatePem;
    std::string privateKey;
    OrvAccessoryInfo* accessoryInfo;
    OrvQtHttpRequest** requestSlots[kRequestSlotCount];
};

#endif
