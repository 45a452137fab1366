#ifndef ORV_SERVER_SERVICE_H
#define ORV_SERVER_SERVICE_H

#include "service/OrvAccessoryInfo.h"
#include "service/OrvQtHandler.h"
#include "util/OrvLogger.h"

#include <atomic>
#include <string>
#include <vector>

class OrvKitListener;
class OrvKitPreferences;

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
    void asyncHandlerCancel();
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

    // Read-only views for diagnostics and tests.
    const OrvAccessoryInfo& accessoryInfoView() const { return *accessoryInfo; }
    int getNetworkAccessStatus() const { return networkAccessStatus; }
    const std::string& getCaCertificatePem() const { return caCertificatePem; }
    const std::string& getCertificatePem() const { return certificatePem; }
    const std::string& getPrivateKey() const { return privateKey; }

    // Public so that tests can drive the service without its event loop.
    void recvCommand(const std::vector<uint8>& data, unsigned long uniqueID) override;
    int httpFinished(unsigned int networkError, unsigned int httpStatus,
                     const std::vector<uint8_t>& body, unsigned int context) override;
    int httpCanceled(unsigned int context) override;

protected:
    void openStart() override;
    void openEnd() override;
    void closeStart() override;
    void closeEnd() override;
    void prepareRequest(OrvQtHttpRequest* request) override;

private:
    enum class Method { Get, Post, Delete };
    struct PlainCommand;

    void runPlainCommand(const PlainCommand& command, const std::vector<uint8>& data);
    void addOwnParameters(unsigned long code, const std::vector<uint8>& data, OrvQtHttpRequest* request) const;
    void runLogin(const std::vector<uint8>& data);
    void runCertificate();
    void runShadowUpdate(const std::vector<uint8>& data);
    std::string makerText() const;
    void sendCode(unsigned char code, unsigned long messageId);

    OrvKitPreferences* preferences;
    std::atomic<OrvKitListener*> listener;
    int networkAccessStatus;
    OrvLogger logger;
    std::string caCertificatePem;
    std::string certificatePem;
    std::string privateKey;
    OrvAccessoryInfo* accessoryInfo;
    OrvQtHttpRequest** requestSlots[kRequestSlotCount];
};

#endif
