// A discovery answer's Location comes from the network, often over plain HTTP. Whatever it
// holds, parseLocation either refuses it with a TargetResolverError or names a target that can
// go on socat's command line as it stands.

#include "core/discovery/TargetResolver.h"
#include "core/discovery/TargetResolverError.h"
#include "fuzz/FuzzChecks.h"

#include <exception>
#include <string>

using namespace velquor;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const auto target = TargetResolver::parseLocation(text);
        fuzz::require(fuzz::isSocatSafeHost(target.host()), "host socat reads as syntax",
                      target.host());
        fuzz::require(target.port() >= 1 && target.port() <= 65535, "port out of range",
                      target.text());
        // The target is logged and cached as host:port; written back as a Location it must
        // name the same place.
        const auto again = TargetResolver::parseLocation("http://" + target.text() + "/");
        fuzz::require(again == target, "target does not read back", target.text());
    } catch (const TargetResolverError&) {
    } catch (const std::exception& error) {
        fuzz::fail("unexpected exception", error.what());
    }
    return 0;
}
