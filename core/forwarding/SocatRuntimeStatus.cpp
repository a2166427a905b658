#include "core/forwarding/SocatRuntimeStatus.h"

namespace velquor {

SocatRuntimeStatus SocatRuntimeStatus::trackedSocat(std::int32_t pid) {
    return {Kind::trackedSocat, pid, {}};
}

SocatRuntimeStatus SocatRuntimeStatus::externalSocat(std::int32_t pid) {
    return {Kind::externalSocat, pid, {}};
}

SocatRuntimeStatus SocatRuntimeStatus::occupiedByUnknownProcess(std::string name,
                                                                std::int32_t pid) {
    return {Kind::occupiedByUnknownProcess, pid, std::move(name)};
}

SocatRuntimeStatus SocatRuntimeStatus::notListening() {
    return {};
}

std::optional<std::int32_t> SocatRuntimeStatus::processIdentifier() const {
    if (kind == Kind::notListening || pid == 0) {
        return std::nullopt;
    }
    return pid;
}

std::string SocatRuntimeStatus::displayText() const {
    const auto pidText = std::to_string(pid);
    switch (kind) {
    case Kind::trackedSocat:
        return "App 启动的 socat [PID=" + pidText + "]";
    case Kind::externalSocat:
        return "检测到已有 socat [PID=" + pidText + "]";
    case Kind::occupiedByUnknownProcess:
        return pid == 0 ? "端口被未知进程占用" : "端口被 " + name + " 占用 [PID=" + pidText + "]";
    case Kind::notListening:
        break;
    }
    return "未监听";
}

std::string SocatRuntimeStatus::logText() const {
    const auto pidText = std::to_string(pid);
    switch (kind) {
    case Kind::trackedSocat:
        return "trackedSocat(pid=" + pidText + ")";
    case Kind::externalSocat:
        return "externalSocat(pid=" + pidText + ")";
    case Kind::occupiedByUnknownProcess:
        return "occupiedByUnknownProcess(name=" + name + ", pid=" + pidText + ")";
    case Kind::notListening:
        break;
    }
    return "notListening";
}

} // namespace velquor
