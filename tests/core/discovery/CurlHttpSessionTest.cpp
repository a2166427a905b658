#include "core/discovery/CurlHttpSession.h"

#include "core/discovery/CurlErrorCategory.h"
#include "core/discovery/HttpResponse.h"
#include "tests/support/DiscoveryServer.h"
#include "tests/support/Network.h"

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velquor {
namespace {

using test::DiscoveryServer;
using namespace std::chrono_literals;

std::error_code curlError(CURLcode code) {
    return {code, CurlErrorCategory::instance()};
}

template <typename Action> std::system_error transportFailure(Action action) {
    try {
        action();
    } catch (const std::system_error& error) {
        return error;
    }
    ADD_FAILURE() << "no transport error";
    return std::system_error(std::error_code());
}

TEST(HttpResponse, FindsTheFirstFieldOfANameInAnyCase) {
    const HttpResponse response{302, {{"location", "a"}, {"X", "y"}, {"LOCATION", "b"}}};
    EXPECT_EQ(response.header("Location"), "a");
    EXPECT_EQ(response.header("x"), "y");
    EXPECT_EQ(response.header("Locatio"), std::nullopt);
}

TEST(CurlHttpSession, ReturnsTheStatusAndFieldsOfARedirectWithoutFollowingIt) {
    DiscoveryServer server;
    server.setReply(DiscoveryServer::redirectTo("127.0.0.1", server.port()));
    const auto response = CurlHttpSession().get(server.url(), 5s);
    EXPECT_EQ(response.status, 302);
    EXPECT_EQ(response.header("location"),
              "http://127.0.0.1:" + std::to_string(server.port()) + "/");
    EXPECT_EQ(server.requestCount(), 1);
}

TEST(CurlHttpSession, KeepsOnlyTheFieldsOfTheFinalResponse) {
    auto reply = DiscoveryServer::withLocation("http://final:2/", 301);
    reply.interimLocation = "http://interim:1/";
    DiscoveryServer server(reply);
    const auto response = CurlHttpSession().get(server.url(), 5s);
    EXPECT_EQ(response.status, 301);
    EXPECT_EQ(response.header("Location"), "http://final:2/");
}

TEST(CurlHttpSession, ReturnsOnceTheHeadIsInWithoutWaitingForTheBody) {
    auto reply = DiscoveryServer::redirectTo("10.0.0.5", 3260);
    reply.behaviour = DiscoveryServer::Behaviour::headThenStall;
    reply.bodyBytes = 1000;
    DiscoveryServer server(reply);
    EXPECT_EQ(CurlHttpSession().get(server.url(), 5s).header("Location"), "http://10.0.0.5:3260/");
}

TEST(CurlHttpSession, RefusedConnectionFailsAtOnceNamingTheRequest) {
    const auto url = Url::parse("http://127.0.0.1:" + std::to_string(test::freeTcpPort()) + "/x");
    const auto error = transportFailure([&] { CurlHttpSession().get(*url, 5s); });
    EXPECT_EQ(error.code(), curlError(CURLE_COULDNT_CONNECT));
    EXPECT_EQ(std::string(error.what()),
              "GET " + url->text + ": " + curl_easy_strerror(CURLE_COULDNT_CONNECT));
}

TEST(CurlHttpSession, StalledServerFailsWhenTheTimeoutRunsOut) {
    DiscoveryServer server({.behaviour = DiscoveryServer::Behaviour::stall});
    const auto started = std::chrono::steady_clock::now();
    const auto error = transportFailure([&] { CurlHttpSession().get(server.url(), 1s); });
    EXPECT_EQ(error.code(), curlError(CURLE_OPERATION_TIMEDOUT));
    EXPECT_LT(std::chrono::steady_clock::now() - started, 5s);
}

// A server that never answers must not keep a stopping program waiting for the timeout: the
// question is asked again and again while nothing arrives, and a yes ends the request.
TEST(CurlHttpSession, ARequestToASilentServerEndsWhenTheAbortQuestionSaysSo) {
    DiscoveryServer server({.behaviour = DiscoveryServer::Behaviour::stall});
    int asked = 0;
    CurlHttpSession session([&] {
        // Once the request is at the silent server, a few more questions are asked before yes.
        return server.requestCount() > 0 && ++asked >= 5;
    });
    const auto error = transportFailure([&] { session.get(server.url(), 120s); });
    EXPECT_EQ(error.code(), curlError(CURLE_ABORTED_BY_CALLBACK));
}

TEST(CurlHttpSession, OnlyHttpAndHttpsAreSpoken) {
    const auto error =
        transportFailure([] { CurlHttpSession().get(*Url::parse("file:///etc/hostname"), 1s); });
    EXPECT_EQ(error.code(), curlError(CURLE_UNSUPPORTED_PROTOCOL));
}

TEST(CurlHttpSession, OversizedResponseHeadFailsCleanly) {
    auto reply = DiscoveryServer::redirectTo("127.0.0.1", 3260);
    reply.fillerHeaderBytes = 4 * CurlHttpSession::headerLimit;
    DiscoveryServer server(reply);
    const auto error = transportFailure([&] { CurlHttpSession().get(server.url(), 5s); });
    EXPECT_EQ(error.code(), curlError(CURLE_WEIRD_SERVER_REPLY));
    EXPECT_THAT(error.what(), ::testing::HasSubstr("response head exceeds 65536 bytes"));
}

} // namespace
} // namespace velquor
