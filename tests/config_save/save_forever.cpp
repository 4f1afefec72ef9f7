// Loads a configuration, then saves it again and again, each time with a value of another length,
// until it is killed. Says on its output when it has begun.
#include <cstdio>
#include <string>

#include "config/config_loader.h"
#include "zvutil/zvutil.h"

int main(int, char** arguments) {
    zvEventConfig config;
    std::string error;
    if (zvEventLoadConfig(arguments[1], &config, &error) != ZVEVENT_OK) return 1;
    for (int round = 0;; ++round) {
        std::string text(round % 2 == 0 ? 200'000 : 300'000, round % 2 == 0 ? 'a' : 'b');
        const zvCFGHandle tree = zvCFGOpen(arguments[1], 0);
        const bool set = zvCFGValueString(tree, "", "v", text.data(), nullptr, 1) == 0;
        const bool saved = zvCFGSave(tree, 0, 1) == 0;
        zvCFGClose(tree, 1);
        if (!set) return 2;
        if (!saved) return 3;
        if (round == 0) std::puts("begun");
        if (round == 0) std::fflush(stdout);
    }
}
