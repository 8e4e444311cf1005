#include <mlh/mlh.h>
#include <string.h>

int main(void) {
    void* mlh = NULL;
    if (mlhCreateInstance(&mlh) != MLH_OK || mlh == NULL) return 1;
    if (mlhDestroyInstance(&mlh) != MLH_OK) return 1;
    return strcmp(mlhGetVersionString(), "1.0.4");
}
