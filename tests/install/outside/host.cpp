// Does the whole job and prints what came out. Built with and without namesakes of what is inside the
// library.
#include <cinttypes>
#include <cstdio>

#include "job.h"

// Of namesakes.cpp, or of the file that names everything inside the library.
extern "C" const char* CalledNamesake() __attribute__((weak));

int main() {
    uint64_t classes = 1;
#ifdef HOST_OF_CLASSES
    classes = JobThroughClasses();
#endif
    const uint64_t functions = JobThroughCFunctions();
    std::printf("%016" PRIx64 " %016" PRIx64 "\n", classes, functions);
    const char* called = CalledNamesake != nullptr ? CalledNamesake() : nullptr;
    if (called != nullptr) {
        std::printf("the library called the host's %s\n", called);
    }
    return classes == 0 || functions == 0 || called != nullptr ? 1 : 0;
}
