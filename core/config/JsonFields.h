#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>

namespace velquor::json {

// Strict readers for decoded records: a missing key or a value of another JSON type throws
// nlohmann::json::exception, and a number with a fractional part is not an integer.
std::int64_t requireInteger(const nlohmann::json& object, const char* key);
std::int64_t asInteger(const nlohmann::json& value);
std::string requireString(const nlohmann::json& object, const char* key);
bool requireBoolean(const nlohmann::json& object, const char* key);

// True when the key is absent or null.
bool isAbsent(const nlohmann::json& object, const char* key);

} // namespace velquor::json
