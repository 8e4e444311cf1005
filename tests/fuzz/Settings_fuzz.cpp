// Settings and melody documents of any content: read or refused in one line; what is read is written and read
// again.
#include <cstdint>
#include <cstring>
#include <string>

#include "choir/Errors.h"
#include "choir/document/Document.h"
#include "choir/document/SettingsDocument.h"
#include "fuzz/Bytes.h"

namespace mlh::choir {

namespace {

template <class Read>
void OrComplain(Read read) {
    try {
        read();
    } catch (const UsageError& error) {
        Require(error.what()[0] != '\0');
    } catch (const Failure& error) {
        Require(error.what()[0] != '\0');
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    OrComplain([&] {
        const std::string written = WriteSettings(ReadSettings(text));
        Require(WriteSettings(ReadSettings(written)) == written);
    });
    OrComplain([&] { Require(!ReadMelodyDocument(text).notes.empty()); });
    return 0;
}

}  // namespace mlh::choir
