#include "core/forwarding/ProcForwarderOwnershipChecker.h"

#include "core/forwarding/ProcessStat.h"
#include "core/forwarding/SystemAddressResolver.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

namespace velquor {

namespace {

namespace fs = std::filesystem;

// IPv4 addresses in their IPv4-mapped IPv6 form, so that a dual-stack socket that accepted an
// IPv4 connection compares equal to the IPv4 listen host.
using Address = IpAddress;

bool isWildcard(const Address& address) {
    static constexpr unsigned char zeros[4] = {};
    return address == Address{} || address == ipv4Mapped(zeros);
}

std::string readSmallFile(const fs::path& path) {
    std::ifstream in(path);
    std::string text(4096, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    return text;
}

std::string processFolder(std::int32_t processIdentifier) {
    return "/proc/" + std::to_string(processIdentifier);
}

std::optional<std::uint32_t> hexWord(std::string_view text) {
    std::uint32_t value = 0;
    const auto end = text.data() + text.size();
    if (text.empty() || std::from_chars(text.data(), end, value, 16).ptr != end) {
        return std::nullopt;
    }
    return value;
}

// The kernel prints each 32-bit word of the address as a number in this machine's byte order,
// so copying the parsed words back gives the address bytes in network order.
std::optional<Address> parseAddress(std::string_view hex) {
    if (hex.size() != 8 && hex.size() != 32) {
        return std::nullopt;
    }
    std::array<std::uint32_t, 4> words{};
    for (std::size_t i = 0; i * 8 < hex.size(); ++i) {
        const auto word = hexWord(hex.substr(i * 8, 8));
        if (!word) {
            return std::nullopt;
        }
        words[i] = *word;
    }
    if (hex.size() == 8) {
        return ipv4Mapped(words.data());
    }
    Address ipv6;
    std::memcpy(ipv6.data(), words.data(), 16);
    return ipv6;
}

// Inodes of the TCP sockets whose local side is the port on one of the addresses, or on the
// wildcard address; with a wildcard among the addresses, any local address counts.
std::set<std::string> socketInodesOn(const std::vector<Address>& addresses, std::int64_t port) {
    const bool anyAddress = std::any_of(addresses.begin(), addresses.end(), isWildcard);
    std::set<std::string> inodes;
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream in(table);
        std::string line;
        std::getline(in, line); // the header
        while (std::getline(in, line)) {
            std::istringstream fields(line);
            std::string slot, local, remote, skipped, inode;
            if (!(fields >> slot >> local >> remote)) {
                continue;
            }
            for (int i = 0; i < 6 && (fields >> skipped); ++i) {
            }
            const auto colon = local.find(':');
            if (!(fields >> inode) || inode == "0" || colon == std::string::npos) {
                continue;
            }
            const auto address = parseAddress(std::string_view(local).substr(0, colon));
            const auto localPort = hexWord(std::string_view(local).substr(colon + 1));
            if (!address || !localPort || *localPort != port) {
                continue;
            }
            if (anyAddress || isWildcard(*address) ||
                std::find(addresses.begin(), addresses.end(), *address) != addresses.end()) {
                inodes.insert(inode);
            }
        }
    }
    return inodes;
}

bool holdsAnySocket(std::int32_t processIdentifier, const std::set<std::string>& inodes) {
    std::error_code error;
    fs::directory_iterator descriptors(processFolder(processIdentifier) + "/fd", error);
    for (; !error && descriptors != fs::directory_iterator(); descriptors.increment(error)) {
        const auto target = fs::read_symlink(descriptors->path(), error).string();
        if (!error && target.starts_with("socket:[") && target.ends_with("]") &&
            inodes.count(target.substr(8, target.size() - 9)) != 0) {
            return true;
        }
        error.clear();
    }
    return false;
}

} // namespace

std::optional<ProcessIdentity>
ProcForwarderOwnershipChecker::socatIdentity(std::int32_t processIdentifier) {
    if (processIdentifier <= 0) {
        return std::nullopt;
    }
    const auto stat = ProcessStat::read(processIdentifier);
    if (!stat || readSmallFile(processFolder(processIdentifier) + "/comm") != "socat\n") {
        return std::nullopt;
    }
    return ProcessIdentity{processIdentifier, stat->startTime};
}

std::optional<ProcessIdentity>
ProcForwarderOwnershipChecker::forwarderIdentity(std::int32_t processIdentifier,
                                                 const std::string& host, std::int64_t port) {
    // The identity is read before the descriptors: should the identifier change hands while
    // they are read, the identity no longer matches when it is confirmed before the signal.
    const auto identity = socatIdentity(processIdentifier);
    if (!identity ||
        !holdsAnySocket(processIdentifier,
                        socketInodesOn(SystemAddressResolver().addresses(host), port))) {
        return std::nullopt;
    }
    return identity;
}

bool ProcForwarderOwnershipChecker::isStillForwarder(const ProcessIdentity& identity) {
    return socatIdentity(identity.processIdentifier) == identity;
}

bool ProcForwarderOwnershipChecker::isStopped(const ProcessIdentity& identity) {
    const auto stat = ProcessStat::read(identity.processIdentifier);
    return stat && stat->startTime == identity.startTime && stat->isStopped();
}

} // namespace velquor
