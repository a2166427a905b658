#include "core/discovery/HttpResponse.h"

#include "core/text/AsciiCase.h"

namespace velquor {

std::optional<std::string> HttpResponse::header(std::string_view name) const {
    for (const auto& [field, value] : headers) {
        if (equalIgnoringAsciiCase(field, name)) {
            return value;
        }
    }
    return std::nullopt;
}

} // namespace velquor
