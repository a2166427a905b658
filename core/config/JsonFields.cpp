#include "core/config/JsonFields.h"

#include <cmath>
#include <limits>

namespace velquor::json {

namespace {

[[noreturn]] void wrongType(const std::string& what) {
    throw nlohmann::json::type_error::create(302, what, nullptr);
}

} // namespace

std::int64_t asInteger(const nlohmann::json& value) {
    if (value.is_number_integer()) {
        if (value.is_number_unsigned() &&
            value.get<std::uint64_t>() >
                static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            wrongType("integer out of range");
        }
        return value.get<std::int64_t>();
    }
    if (value.is_number_float()) {
        // 18082.0 still names an integer; 18082.5 does not.
        const double number = value.get<double>();
        constexpr double limit = 9223372036854775808.0; // 2^63
        if (std::trunc(number) == number && number >= -limit && number < limit) {
            return static_cast<std::int64_t>(number);
        }
    }
    wrongType("type must be an integer, but is " + std::string(value.type_name()));
}

std::int64_t requireInteger(const nlohmann::json& object, const char* key) {
    return asInteger(object.at(key));
}

std::string requireString(const nlohmann::json& object, const char* key) {
    const auto& value = object.at(key);
    if (!value.is_string()) {
        wrongType(std::string(key) + " must be a string");
    }
    return value.get<std::string>();
}

bool requireBoolean(const nlohmann::json& object, const char* key) {
    const auto& value = object.at(key);
    if (!value.is_boolean()) {
        wrongType(std::string(key) + " must be a boolean");
    }
    return value.get<bool>();
}

bool isAbsent(const nlohmann::json& object, const char* key) {
    const auto it = object.find(key);
    return it == object.end() || it->is_null();
}

} // namespace velquor::json
