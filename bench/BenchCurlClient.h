#ifndef ORVKIT_BENCH_CURL_CLIENT_H
#define ORVKIT_BENCH_CURL_CLIENT_H

#include <string>

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

    // One GET; true on status 200.
    bool get(const std::string& url, const std::string& authorization, std::string& body);

private:
    void* handle;
    void* headers;
    std::string headerAuthorization;
};

#endif
