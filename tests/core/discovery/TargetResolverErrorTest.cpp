#include "core/discovery/TargetResolverError.h"

#include <gtest/gtest.h>

namespace velquor {
namespace {

using E = TargetResolverError;
using TargetError = TargetEndpoint::ValidationError;

TEST(TargetResolverError, TextFormNamesTheCaseAndItsPayload) {
    const std::pair<E, std::string> cases[] = {
        {E::invalidHTTPResponse(), "invalidHTTPResponse"},
        {E::missingLocation(), "missingLocation"},
        {E::malformedLocation("ftp//x"), R"(malformedLocation("ftp//x"))"},
        {E::malformedLocation(" a\"b\\c \r\n\x1b"), R"(malformedLocation(" a\"b\\c \r\n\u{1B}"))"},
        {E::unsupportedLocationScheme("ftp"), R"(unsupportedLocationScheme("ftp"))"},
        {E::unsupportedLocationScheme(std::nullopt), "unsupportedLocationScheme(nil)"},
        {E::invalidTarget(TargetError::invalidPort(0)), "invalidTarget(invalidPort(0))"},
        {E::invalidTarget(TargetError::emptyHost()), "invalidTarget(emptyHost)"},
    };
    for (const auto& [error, text] : cases) {
        EXPECT_EQ(error.what(), text);
    }
}

TEST(TargetResolverError, ComparesCaseAndPayload) {
    EXPECT_EQ(E::missingLocation(), E::missingLocation());
    EXPECT_NE(E::missingLocation(), E::invalidHTTPResponse());
    EXPECT_EQ(E::malformedLocation("x"), E::malformedLocation("x"));
    EXPECT_NE(E::malformedLocation("x"), E::malformedLocation(" x"));
    EXPECT_NE(E::unsupportedLocationScheme("ftp"), E::unsupportedLocationScheme(std::nullopt));
    EXPECT_NE(E::unsupportedLocationScheme(""), E::unsupportedLocationScheme(std::nullopt));
    EXPECT_EQ(E::invalidTarget(TargetError::invalidPort(0)),
              E::invalidTarget(TargetError::invalidPort(0)));
    EXPECT_NE(E::invalidTarget(TargetError::invalidPort(0)),
              E::invalidTarget(TargetError::invalidPort(70000)));
    EXPECT_EQ(E::malformedLocation("x").value(), "x");
    EXPECT_EQ(E::unsupportedLocationScheme("ftp").scheme(), "ftp");
    EXPECT_EQ(E::invalidTarget(TargetError::emptyHost()).targetError(), TargetError::emptyHost());
}

} // namespace
} // namespace velquor
