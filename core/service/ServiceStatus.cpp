#include "core/service/ServiceStatus.h"

#include <nlohmann/json.hpp>

#include <array>
#include <optional>

namespace velquor {

namespace {

constexpr std::array<std::pair<ServiceStatus, std::string_view>, 6> names = {{
    {ServiceStatus::stopped, "stopped"},
    {ServiceStatus::starting, "starting"},
    {ServiceStatus::running, "running"},
    {ServiceStatus::stopping, "stopping"},
    {ServiceStatus::failed, "failed"},
    {ServiceStatus::checking, "checking"},
}};

} // namespace

std::string_view serviceStatusName(ServiceStatus status) {
    return names.at(static_cast<std::size_t>(status)).second;
}

nlohmann::json serviceStatusToJson(ServiceStatus status) {
    return {{std::string(serviceStatusName(status)), nlohmann::json::object()}};
}

ServiceStatus serviceStatusFromJson(const nlohmann::json& json) {
    std::optional<ServiceStatus> found;
    int known = 0;
    if (json.is_object()) {
        for (const auto& [status, name] : names) {
            if (json.contains(name)) {
                found = status;
                ++known;
            }
        }
    }
    if (known != 1) {
        throw nlohmann::json::type_error::create(302, "Invalid number of keys found, expected one.",
                                                 nullptr);
    }
    return *found;
}

} // namespace velquor
