// Sends HTTP requests through the utility layer as its standard input says, one line a job:
//
//     COUNT TIMEOUT_MS METHOD URL HEADERS BODY
//
// separated by tabs, the last four in hex. Sends COUNT times and answers with a line: how many
// succeeded, the milliseconds of all together, and the last answer's body in hex. A COUNT of 0 ends
// the process while a thread sends in a loop, and an exit handler older than any request sends once
// more and prints how many succeeded.
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

#include "zvutil/zvutil.h"

namespace {

struct Job {
    int count = 0;
    std::uint32_t timeout_ms = 0;
    std::string method, url, headers, body;
};
Job* last_job = nullptr;  // never deleted: the exit handler and the thread read it

std::string FromHex(const std::string& digits) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

Job ReadJob(const std::string& line) {
    std::istringstream text(line);
    std::string part[6];
    for (std::string& one : part)
        std::getline(text, one, '\t');
    return {std::stoi(part[0]), static_cast<std::uint32_t>(std::stoul(part[1])),
            FromHex(part[2]),   FromHex(part[3]),
            FromHex(part[4]),   FromHex(part[5])};
}

bool Send(const Job& job, std::string* answer = nullptr) {
    void* response = nullptr;
    std::uint32_t length = 0;
    const bool good = zvOSHTTPCommand(job.url.c_str(), job.method.c_str(), job.headers.c_str(),
                                      job.body.data(), static_cast<std::uint32_t>(job.body.size()),
                                      &response, &length, job.timeout_ms) != 0;
    if (answer != nullptr) answer->assign(static_cast<const char*>(response), length);
    ZVFree(response);
    return good;
}

void SendAtExit() {
    if (last_job != nullptr) std::cout << Send(*last_job) << std::endl;
}

void SendTimes(const Job& job) {
    const auto start = std::chrono::steady_clock::now();
    int good = 0;
    std::string answer;
    for (int i = 0; i < job.count; ++i)
        good += Send(job, &answer);
    const auto ms = (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1);
    std::string hex;
    for (const char c : answer)
        for (const int digit : {c >> 4 & 15, c & 15})
            hex += "0123456789abcdef"[digit];
    std::cout << good << ' ' << ms << ' ' << hex << std::endl;
}

}  // namespace

int main() {
    std::atexit(SendAtExit);
    for (std::string line; std::getline(std::cin, line);) {
        const Job job = ReadJob(line);
        if (job.count == 0) {
            last_job = new Job(job);
            Send(job);
            std::thread([] {
                for (;;)
                    Send(*last_job);
            }).detach();
            return 0;
        }
        SendTimes(job);
    }
}
