// Sends HTTP requests through the utility layer as its standard input says, one line a job:
//
//     COUNT TIMEOUT_MS METHOD URL HEADERS BODY
//
// separated by tabs, the last four in hex. Sends COUNT times and answers with a line: how many
// succeeded, the milliseconds of all together, and the last answer's body in hex. A COUNT of 0 ends
// the process while a thread sends in a loop, and an exit handler older than any request sends once
// more and prints how many succeeded.
#include <array>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

#include "zvutil/zvutil.h"

namespace {

using Job = std::array<std::string, 6>;
Job* last_job = nullptr;  // never deleted: the exit handler and the thread read it

Job ReadJob(const std::string& line) {
    Job job;
    std::istringstream text(line);
    for (std::string& part : job)
        std::getline(text, part, '\t');
    for (std::size_t i = 2; i < job.size(); ++i) {
        std::string bytes(job[i].size() / 2, '\0');
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            unsigned char byte = 0;
            std::from_chars(&job[i][2 * at], &job[i][2 * at] + 2, byte, 16);
            bytes[at] = static_cast<char>(byte);
        }
        job[i] = bytes;
    }
    return job;
}

bool Send(const Job& job, std::string* answer = nullptr) {
    const auto& [count, timeout, method, url, headers, body] = job;
    void* response = nullptr;
    std::uint32_t length = 0;
    const bool good = zvOSHTTPCommand(url.c_str(), method.c_str(), headers.c_str(), body.data(),
                                      static_cast<std::uint32_t>(body.size()), &response, &length,
                                      static_cast<std::uint32_t>(std::stoul(timeout))) != 0;
    if (answer != nullptr) answer->assign(static_cast<const char*>(response), length);
    ZVFree(response);
    return good;
}

}  // namespace

int main() {
    std::atexit([] {
        if (last_job != nullptr) std::cout << Send(*last_job) << std::endl;
    });
    for (std::string line; std::getline(std::cin, line);) {
        const Job job = ReadJob(line);
        const int count = std::stoi(job[0]);
        if (count == 0) {
            last_job = new Job(job);
            Send(job);
            std::thread([] {
                for (;;)
                    Send(*last_job);
            }).detach();
            return 0;
        }
        const auto start = std::chrono::steady_clock::now();
        std::string answer;
        int good = 0;
        for (int i = 0; i < count; ++i)
            good += Send(job, &answer);
        std::cout << good << ' '
                  << (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1)
                  << ' ';
        for (const char c : answer)
            std::cout << "0123456789abcdef"[c >> 4 & 15] << "0123456789abcdef"[c & 15];
        std::cout << std::endl;
    }
}
