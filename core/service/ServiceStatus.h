#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string_view>

namespace velquor {

// In this order everywhere a status table is shown.
enum class ServiceStatus { stopped, starting, running, stopping, failed, checking };

// "stopped", "starting", … as written in log lines.
std::string_view serviceStatusName(ServiceStatus status);

// {"running": {}}; reading needs exactly one known key.
nlohmann::json serviceStatusToJson(ServiceStatus status);
ServiceStatus serviceStatusFromJson(const nlohmann::json& json);

} // namespace velquor
