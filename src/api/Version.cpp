#include "base/Version.h"

#include <cstdio>

#include "mlh/mlh.h"

using namespace mlh;

const char* mlGetVersionString(void) {
    static char text[64];
    std::snprintf(text, sizeof text, "%d.%d.%d.%d", kCoreVersion[0], kCoreVersion[1], kCoreVersion[2],
                  kCoreVersion[3]);
    return text;
}

const char* mlhGetVersionString(void) {
    static char text[64];
    std::snprintf(text, sizeof text, "%d.%d.%d", kAddOnVersion[0], kAddOnVersion[1], kAddOnVersion[2]);
    return text;
}
