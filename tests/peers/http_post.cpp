// Posts over the utility layer's HTTP client, as its standard input says, one line a job:
//
//     URL COUNT [HEADERS]
//
// posts COUNT times and prints how many succeeded; header lines are separated by "|". The line
// "exit URL [HEADERS]" ends the process while a thread posts in a loop, and an exit handler older
// than any request posts once more and prints how many succeeded.
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

#include "zvutil/zvutil.h"

namespace {

struct Job {
    std::string url;
    std::string headers;
};
Job* last_job = nullptr;  // never deleted: the exit handler and the thread read it

bool Post(const Job& job) {
    const std::string body(300, 'x');
    void* response = nullptr;
    std::uint32_t length = 0;
    const bool good =
        zvOSHTTPCommand(job.url.c_str(), "POST", job.headers.c_str(), body.data(),
                        static_cast<std::uint32_t>(body.size()), &response, &length, 10000) != 0;
    ZVFree(response);
    return good;
}

void PostAtExit() {
    if (last_job != nullptr) std::cout << Post(*last_job) << std::endl;
}

}  // namespace

int main() {
    std::atexit(PostAtExit);
    for (std::string line; std::getline(std::cin, line);) {
        line.erase(line.find_last_not_of('\r') + 1);
        std::istringstream text(line);
        Job job;
        std::string count;
        text >> job.url >> count >> std::ws;
        const bool exiting = job.url == "exit";
        if (exiting) job.url = count;
        std::getline(text, job.headers);
        std::replace(job.headers.begin(), job.headers.end(), '|', '\xA7');
        if (exiting) {
            last_job = new Job(job);
            Post(job);
            std::thread([] {
                for (;;)
                    Post(*last_job);
            }).detach();
            return 0;
        }
        int good = 0;
        for (int i = std::stoi(count); i > 0; --i)
            good += Post(job);
        std::cout << good << std::endl;
    }
}
