#include "BenchCurlClient.h"

#include <curl/curl.h>

namespace {

size_t collect(char* data, size_t size, size_t count, void* target)
{
    static_cast<std::string*>(target)->append(data, size * count);
    return size * count;
}

} // namespace

BenchCurlClient::BenchCurlClient() : handle(nullptr), headers(nullptr)
{
    static const CURLcode global = curl_global_init(CURL_GLOBAL_DEFAULT);
    (void)global;
    CURL* curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    curl_easy_setopt(curl, CURLOPT_TCP_NODELAY, 1L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &collect);
    // Asks for compression as Qt does, so that the server does the same work.
    curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
    handle = curl;
}

BenchCurlClient::~BenchCurlClient()
{
    curl_slist_free_all(static_cast<curl_slist*>(headers));
    curl_easy_cleanup(static_cast<CURL*>(handle));
}

bool BenchCurlClient::get(const std::string& url, const std::string& authorization, std::string& body)
{
    CURL* curl = static_cast<CURL*>(handle);
    if (authorization != headerAuthorization || headers == nullptr) {
        curl_slist_free_all(static_cast<curl_slist*>(headers));
        headers = curl_slist_append(nullptr, ("Authorization: " + authorization).c_str());
        headerAuthorization = authorization;
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, static_cast<curl_slist*>(headers));
    }
    body.clear();
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
    long status = 0;
    const CURLcode result = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    return result == CURLE_OK && status == 200;
}
