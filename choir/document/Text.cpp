#include "choir/Text.h"

#include <nlohmann/json.hpp>

namespace mlh::choir {

// Written as JSON, which must be UTF-8, and read again.
std::string AsUtf8(const std::string& text) {
    using Json = nlohmann::json;
    const std::string written = Json(OneLine(text)).dump(-1, ' ', false, Json::error_handler_t::replace);
    return Json::parse(written).get<std::string>();
}

}  // namespace mlh::choir
