#include <windows.h>

#include <cstdlib>

#include "exit/library.h"

namespace zvevent::test {

namespace {

HMODULE library = nullptr;

template <typename Function>
void Find(Function& function, const char* name) {
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    if (function == nullptr) std::abort();
}

}  // namespace

Library OpenLibrary(const char* path) {
    library = LoadLibraryA(path);
    if (library == nullptr) std::abort();
    Library found{};
    Find(found.initialize, "zvEventInitialize");
    Find(found.submit, "zvEventSubmitSimple");
    Find(found.register_callback, "zvEventRegisterCallback");
    Find(found.shutdown, "zvEventShutdown");
    return found;
}

void CloseLibrary() {
    FreeLibrary(library);
}

}  // namespace zvevent::test
