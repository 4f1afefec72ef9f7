// Saves a configuration again and again, each time with a value of another length, until it is
// killed. Says on its output when it has begun.
#include <cstdio>
#include <string>

#include "zvutil/zvutil.h"

int main(int, char** arguments) {
    for (int round = 0;; ++round) {
        std::string text(round % 2 == 0 ? 200'000 : 300'000, round % 2 == 0 ? 'a' : 'b');
        const zvCFGHandle tree = zvCFGOpen(arguments[1], 0);
        if (tree == nullptr || zvCFGValueString(tree, "", "v", text.data(), nullptr, 1) != 0 ||
            zvCFGSave(tree, 0, 1) != 0) {
            return 1;
        }
        zvCFGClose(tree, 1);
        if (round == 0) std::puts("begun");
        if (round == 0) std::fflush(stdout);
    }
}
