#include <mlh/mlh.h>
#include <string.h>

/* PACKAGE_VERSION is what the package that was found says of itself. */
int main(void) {
    void* mlh = NULL;
    if (mlhCreateInstance(&mlh) != MLH_OK || mlh == NULL) {
        return 1;
    }
    if (mlhDestroyInstance(&mlh) != MLH_OK) {
        return 1;
    }
    return strcmp(mlhGetVersionString(), PACKAGE_VERSION);
}
