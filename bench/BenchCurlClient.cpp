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

void BenchCurlClient::useClientCertificate(const std::string& certificatePath, const std::string& keyPath)
{
    CURL* curl = static_cast<CURL*>(handle);
    curl_easy_setopt(curl, CURLOPT_SSLCERT, certificatePath.c_str());
    curl_easy_setopt(curl, CURLOPT_SSLKEY, keyPath.c_str());
}

void BenchCurlClient::setHeaders(const std::vector<std::string>& lines)
{
    if (headers != nullptr && lines == headerLines)
        return;
    curl_slist_free_all(static_cast<curl_slist*>(headers));
    curl_slist* list = nullptr;
    for (const std::string& line : lines)
        list = curl_slist_append(list, line.c_str());
    headers = list;
    headerLines = lines;
    curl_easy_setopt(static_cast<CURL*>(handle), CURLOPT_HTTPHEADER, list);
}

bool BenchCurlClient::perform(const std::string& url, std::string& answer)
{
    CURL* curl = static_cast<CURL*>(handle);
    answer.clear();
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
    long status = 0;
    const CURLcode result = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    return result == CURLE_OK && status == 200;
}

bool BenchCurlClient::get(const std::string& url, const std::string& authorization, std::string& body)
{
    setHeaders({"Authorization: " + authorization});
    curl_easy_setopt(static_cast<CURL*>(handle), CURLOPT_HTTPGET, 1L);
    return perform(url, body);
}

bool BenchCurlClient::post(const std::string& url, const std::vector<std::string>& headerLines,
                           const std::string& body, std::string& answer)
{
    setHeaders(headerLines);
    CURL* curl = static_cast<CURL*>(handle);
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
    return perform(url, answer);
}
