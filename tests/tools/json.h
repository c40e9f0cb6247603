#pragma once
// A small strict reader of JSON (RFC 8259), the judge of what the command prints.

#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Velmar::Lintrix::testing {

struct Json;
using JsonObject = std::map<std::string, Json>;
using JsonArray = std::vector<Json>;

struct Json {
    std::variant<std::nullptr_t, bool, double, std::string, JsonArray, JsonObject> value;

    bool isNull() const { return std::holds_alternative<std::nullptr_t>(value); }
    double number() const { return std::get<double>(value); }
    const std::string& text() const { return std::get<std::string>(value); }
    const JsonObject& object() const { return std::get<JsonObject>(value); }
    const Json& operator[](const std::string& key) const { return object().at(key); }
};

/// @throws std::runtime_error  anything that the grammar does not allow, a key given twice, bytes that are no
/// UTF-8, text behind the value
Json parseJson(std::string_view text);

} // namespace Velmar::Lintrix::testing
