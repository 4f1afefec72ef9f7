// alertmanager_post: raises an alert in Prometheus Alertmanagers and clears it again.
//
//     alertmanager_post URL...
//
// zvEvent writes the alert documents, this program posts them: an application that has an HTTP
// client of its own needs nothing else. URL is an Alertmanager's API, such as
// http://127.0.0.1:9093/api/v2/alerts; of a cluster give every member, since the members share what
// has been notified but not the alerts. The alert stays until Enter is pressed.
#include <curl/curl.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "zvEvent/zvEventAlertmanager.h"

namespace {

// Milliseconds. An Alertmanager that is away costs no more than this.
constexpr long kConnectTimeoutMs = 3000;
constexpr long kRequestTimeoutMs = 5000;

std::size_t AppendReply(const char* bytes, std::size_t size, std::size_t count, void* reply) {
    static_cast<std::string*>(reply)->append(bytes, size * count);
    return size * count;
}

// A client that keeps its connections, so that later alerts need no new ones.
class Poster {
public:
    Poster() : curl_(curl_easy_init()), headers_(nullptr) {
        headers_.reset(curl_slist_append(nullptr, "Content-Type: application/json"));
        curl_easy_setopt(curl_.get(), CURLOPT_HTTPHEADER, headers_.get());
        curl_easy_setopt(curl_.get(), CURLOPT_CONNECTTIMEOUT_MS, kConnectTimeoutMs);
        curl_easy_setopt(curl_.get(), CURLOPT_TIMEOUT_MS, kRequestTimeoutMs);
        curl_easy_setopt(curl_.get(), CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(curl_.get(), CURLOPT_WRITEFUNCTION, AppendReply);
    }

    bool Post(const char* url, const std::string& document) {
        std::string reply;
        long status = 0;
        curl_easy_setopt(curl_.get(), CURLOPT_URL, url);
        curl_easy_setopt(curl_.get(), CURLOPT_POSTFIELDS, document.c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_POSTFIELDSIZE_LARGE,
                         static_cast<curl_off_t>(document.size()));
        curl_easy_setopt(curl_.get(), CURLOPT_WRITEDATA, &reply);
        const CURLcode result = curl_easy_perform(curl_.get());
        if (result != CURLE_OK) {
            std::fprintf(stderr, "%s: %s\n", url, curl_easy_strerror(result));
            return false;
        }
        curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &status);
        if (status == 200) return true;
        std::fprintf(stderr, "%s: HTTP status %ld %s\n", url, status, reply.c_str());
        return false;
    }

private:
    struct Free {
        void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };
    std::unique_ptr<CURL, Free> curl_;
    std::unique_ptr<curl_slist, Free> headers_;
};

zvEventRecord DiskAlert() {
    zvEventRecord record = zvEventRecordInit();
    record.event_type = "disk.full";
    record.source_id = "nas-1";
    record.source_name = "Storage 1";
    record.message = "Volume 2 is almost full";
    record.severity = zvEventSeverityError;
    record.value = 97.5;
    record.threshold = 95.0;
    record.units = "%";
    return record;
}

// Everything but the action and the time stays: by the labels that come of it Alertmanager knows
// that it is the same alert.
bool Report(Poster& poster, const char* const* urls, const char* action) {
    zvEventRecord record = DiskAlert();
    record.action = action;
    zvEventAlertmanagerFormatterConfig config;
    config.allow_source_label = true;
    std::string document;
    const std::uint32_t result = zvEventFormatAlertmanagerRecord(&record, config, &document);
    if (result != ZVEVENT_OK) {
        std::fprintf(stderr, "The alert was refused: 0x%08X\n", result);
        return false;
    }
    std::cout << document << std::endl;
    bool good = true;
    for (; *urls != nullptr; ++urls)
        good = poster.Post(*urls, document) && good;
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: alertmanager_post URL...\n");
        return 2;
    }
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return 1;
    bool good;
    {
        Poster poster;
        good = Report(poster, argv + 1, "raise");
        // A program that runs for longer posts the raise again at intervals below Alertmanager's
        // resolve_timeout (5 minutes by default); without that the alert runs out.
        std::cout << "Press Enter to clear the alert." << std::endl;
        std::cin.get();
        good = Report(poster, argv + 1, "clear") && good;
    }
    curl_global_cleanup();
    return good ? 0 : 1;
}
