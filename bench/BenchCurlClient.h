#ifndef ORVKIT_BENCH_CURL_CLIENT_H
#define ORVKIT_BENCH_CURL_CLIENT_H

#include <string>
#include <vector>

// A second baseline without Qt: one libcurl easy handle, kept alive across
// requests, blocking on the calling thread. Certificates are not checked;
// compressed answers are asked for and unpacked, as Qt does.
class BenchCurlClient
{
public:
    BenchCurlClient();
    ~BenchCurlClient();
    BenchCurlClient(const BenchCurlClient&) = delete;
    BenchCurlClient& operator=(const BenchCurlClient&) = delete;

    // Presents this certificate and key (PEM files) to servers that ask for one.
    void useClientCertificate(const std::string& certificatePath, const std::string& keyPath);
    // One GET; true on status 200.
    bool get(const std::string& url, const std::string& authorization, std::string& body);
    // One POST with these header lines ("Name: value"); true on status 200.
    bool post(const std::string& url, const std::vector<std::string>& headerLines, const std::string& body,
              std::string& answer);

private:
    void setHeaders(const std::vector<std::string>& lines);
    bool perform(const std::string& url, std::string& answer);

    void* handle;
    void* headers;
    std::vector<std::string> headerLines;
};

#endif
