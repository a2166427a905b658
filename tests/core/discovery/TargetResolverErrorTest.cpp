#include "core/discovery/TargetResolverError.h"

#include <gtest/gtest.h>

namespace velquor {
namespace {

using E = TargetResolverError;
using TargetError = TargetEndpoint::ValidationError;

// Each case differs from every other one, by case or by payload.
TEST(TargetResolverError, TextFormNamesTheCaseAndItsPayloadAndEqualityComparesBoth) {
    const std::pair<E, std::string> cases[] = {
        {E::invalidHTTPResponse(), "invalidHTTPResponse"},
        {E::missingLocation(), "missingLocation"},
        {E::malformedLocation("x"), R"(malformedLocation("x"))"},
        {E::malformedLocation(" a\"b\\c \r\n\x1b"), R"(malformedLocation(" a\"b\\c \r\n\u{1B}"))"},
        {E::unsupportedLocationScheme("ftp"), R"(unsupportedLocationScheme("ftp"))"},
        {E::unsupportedLocationScheme(""), R"(unsupportedLocationScheme(""))"},
        {E::unsupportedLocationScheme(std::nullopt), "unsupportedLocationScheme(nil)"},
        {E::invalidTarget(TargetError::invalidPort(0)), "invalidTarget(invalidPort(0))"},
        {E::invalidTarget(TargetError::invalidPort(70000)), "invalidTarget(invalidPort(70000))"},
        {E::invalidTarget(TargetError::emptyHost()), "invalidTarget(emptyHost)"},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].first.what(), cases[i].second);
        for (std::size_t j = 0; j < std::size(cases); ++j) {
            EXPECT_EQ(cases[i].first == cases[j].first, i == j)
                << cases[i].second << cases[j].second;
        }
    }
    EXPECT_EQ(E::malformedLocation("x").value(), "x");
    EXPECT_EQ(E::unsupportedLocationScheme("ftp").scheme(), "ftp");
    EXPECT_EQ(E::invalidTarget(TargetError::emptyHost()).targetError(), TargetError::emptyHost());
}

} // namespace
} // namespace velquor
