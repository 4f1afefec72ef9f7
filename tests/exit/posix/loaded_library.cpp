#include <dlfcn.h>

#include <cstdlib>

#include "exit/library.h"

namespace zvevent::test {

namespace {

void* library = nullptr;

template <typename Function>
void Find(Function& function, const char* name) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) std::abort();
}

}  // namespace

Library OpenLibrary(const char* path) {
    library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) std::abort();
    Library found{};
    Find(found.initialize, "zvEventInitialize");
    Find(found.submit, "zvEventSubmitSimple");
    Find(found.register_callback, "zvEventRegisterCallback");
    Find(found.shutdown, "zvEventShutdown");
    return found;
}

void CloseLibrary() {
    dlclose(library);
}

}  // namespace zvevent::test
