#include "core/config/ForwarderConfig.h"

#include "core/BuildInfo.h"
#include "core/config/JsonFields.h"
#include "core/text/QuotedText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>

namespace velquor {

namespace {

std::vector<std::int64_t> normalizedRecentListenPorts(const std::vector<std::int64_t>& ports,
                                                      std::int64_t currentPort, std::size_t limit) {
    std::vector<std::int64_t> working = ports;
    working.push_back(currentPort);
    std::vector<std::int64_t> result;
    for (const auto port : working) {
        if (!ForwarderConfig::isValidListenPort(port)) {
            continue;
        }
        std::erase(result, port);
        result.push_back(port);
    }
    if (result.size() > limit) {
        result.erase(result.begin(), result.end() - static_cast<std::ptrdiff_t>(limit));
    }
    return result;
}

void validatePorts(const std::vector<std::int64_t>& ports) {
    for (const auto port : ports) {
        ForwarderConfig::validateListenPort(port);
    }
}

} // namespace

ForwarderConfig::ValidationError::ValidationError(Kind kind, std::string host, std::int64_t port,
                                                  std::string text)
    : Error(std::move(text)), m_kind(kind), m_host(std::move(host)), m_port(port) {}

ForwarderConfig::ValidationError
ForwarderConfig::ValidationError::invalidListenPort(std::int64_t port) {
    return {Kind::invalidListenPort, {}, port, "invalidListenPort(" + std::to_string(port) + ")"};
}

ForwarderConfig::ValidationError
ForwarderConfig::ValidationError::invalidListenHost(std::string host) {
    auto text = "invalidListenHost(" + quotedText(host) + ")";
    return {Kind::invalidListenHost, std::move(host), 0, std::move(text)};
}

const Url& ForwarderConfig::defaultDiscoveryURL() {
    static const Url url = [] {
        auto parsed = Url::parse(buildinfo::defaultDiscoveryURL);
        if (!parsed) {
            std::abort(); // the build was configured with a URL that does not parse
        }
        return *parsed;
    }();
    return url;
}

const ForwarderConfig& ForwarderConfig::defaults() {
    static const ForwarderConfig instance(
        defaultListenHost, defaultListenPort, defaultDiscoveryURL(), defaultCheckIntervalSeconds,
        defaultFailureThreshold, defaultAutoStart, defaultLogRetentionDays, std::nullopt, {});
    return instance;
}

ForwarderConfig::ForwarderConfig(std::string listenHost, std::int64_t listenPort, Url discoveryURL,
                                 std::int64_t checkIntervalSeconds, std::int64_t failureThreshold,
                                 bool autoStart, std::int64_t logRetentionDays,
                                 std::optional<TargetEndpoint> target,
                                 std::vector<std::int64_t> recentListenPorts)
    : listenHost(std::move(listenHost)), listenPort(listenPort),
      discoveryURL(std::move(discoveryURL)), checkIntervalSeconds(checkIntervalSeconds),
      failureThreshold(failureThreshold), autoStart(autoStart), logRetentionDays(logRetentionDays),
      target(std::move(target)) {
    validateListenPort(listenPort);
    validatePorts(recentListenPorts);
    this->recentListenPorts =
        normalizedRecentListenPorts(recentListenPorts, listenPort, recentListenPortLimit);
}

bool ForwarderConfig::isValidListenPort(std::int64_t port) noexcept {
    return port >= 1024 && port <= 65535;
}

void ForwarderConfig::validateListenPort(std::int64_t port) {
    if (!isValidListenPort(port)) {
        throw ValidationError::invalidListenPort(port);
    }
}

ForwarderConfig ForwarderConfig::rebased(const ForwarderConfig& basis,
                                         const ForwarderConfig& current) const {
    ForwarderConfig draft = *this;
    const auto follow = [&](auto... fields) {
        ((draft.*fields == basis.*fields ? void(draft.*fields = current.*fields) : void()), ...);
    };
    using C = ForwarderConfig;
    follow(&C::listenHost, &C::listenPort, &C::discoveryURL, &C::checkIntervalSeconds,
           &C::failureThreshold, &C::autoStart, &C::logRetentionDays, &C::target,
           &C::recentListenPorts, &C::desktopNotifications);
    return draft;
}

ForwarderConfig ForwarderConfig::validated() const {
    validateListenPort(listenPort);
    validatePorts(recentListenPorts);
    return *this;
}

void ForwarderConfig::recordListenPorts(const std::vector<std::int64_t>& ports) {
    validatePorts(ports);
    auto combined = recentListenPorts;
    combined.insert(combined.end(), ports.begin(), ports.end());
    recentListenPorts = normalizedRecentListenPorts(combined, listenPort, recentListenPortLimit);
}

std::vector<std::int64_t> ForwarderConfig::historicalListenPorts() const {
    std::vector<std::int64_t> result;
    std::copy_if(recentListenPorts.begin(), recentListenPorts.end(), std::back_inserter(result),
                 [this](std::int64_t port) { return port != listenPort; });
    return result;
}

ForwarderConfig ForwarderConfig::fromJson(const nlohmann::json& json) {
    ForwarderConfig config;
    config.listenHost = json::requireString(json, "listenHost");
    config.listenPort = json::requireInteger(json, "listenPort");
    const auto urlText = json::requireString(json, "discoveryURL");
    auto url = Url::parse(urlText);
    if (!url) {
        throw nlohmann::json::other_error::create(501, "discoveryURL is not a URL: " + urlText,
                                                  nullptr);
    }
    config.discoveryURL = std::move(*url);
    config.checkIntervalSeconds = json::requireInteger(json, "checkIntervalSeconds");
    config.failureThreshold = json::requireInteger(json, "failureThreshold");
    config.autoStart = json::requireBoolean(json, "autoStart");
    config.logRetentionDays = json::requireInteger(json, "logRetentionDays");
    if (!json::isAbsent(json, "target")) {
        config.target = TargetEndpoint::fromJson(json.at("target"));
    }
    std::vector<std::int64_t> stored;
    if (!json::isAbsent(json, "recentListenPorts")) {
        const auto& list = json.at("recentListenPorts");
        if (!list.is_array()) {
            throw nlohmann::json::type_error::create(302, "recentListenPorts must be an array",
                                                     nullptr);
        }
        for (const auto& entry : list) {
            stored.push_back(json::asInteger(entry));
        }
    }
    config.recentListenPorts =
        normalizedRecentListenPorts(stored, config.listenPort, recentListenPortLimit);
    config.desktopNotifications = json::isAbsent(json, "desktopNotifications") ||
                                  json::requireBoolean(json, "desktopNotifications");
    return config;
}

nlohmann::json ForwarderConfig::toJson() const {
    nlohmann::json json = {
        {"listenHost", listenHost},
        {"listenPort", listenPort},
        {"discoveryURL", discoveryURL.text},
        {"checkIntervalSeconds", checkIntervalSeconds},
        {"failureThreshold", failureThreshold},
        {"autoStart", autoStart},
        {"logRetentionDays", logRetentionDays},
        {"recentListenPorts", recentListenPorts},
        {"desktopNotifications", desktopNotifications},
    };
    if (target) {
        json["target"] = target->toJson();
    }
    return json;
}

} // namespace velquor
