// Covers: who may ask the HTTP server for what.
//
// | subject                                          | functional | robustness                                     |
// |--------------------------------------------------|------------|------------------------------------------------|
// | names by which the server may be asked, with and | x          |                                                |
// | without a port                                   |            |                                                |
// | reads of the own page, of a person, of programs  | x          |                                                |
// | without a browser                                |            |                                                |
// | another site's name (DNS rebinding), another     |            | x                                              |
// | site's page                                      |            |                                                |
// | writes                                           |            | the token is wrong, missing, or another site's |
// |                                                  |            | page has it                                    |

#include "HttpGuard.h"

#include <unistd.h>

#include <array>

#include <gtest/gtest.h>

#include "NamedCase.h"

namespace {

using panel::HttpGuard;

constexpr int ALLOWED = 0;

int getStatus(const HttpGuard& guard, const HttpGuard::Request& request) {
  const auto refused = guard.refuse(request);
  return refused ? refused->status : ALLOWED;
}

// What a browser sends for a page of this server, and what curl sends.
HttpGuard::Request makeRead() {
  HttpGuard::Request request{};
  request.method = "GET";
  request.path = "/api/panel";
  request.host = "127.0.0.1:8080";
  return request;
}

HttpGuard::Request makeWrite(const HttpGuard& guard) {
  HttpGuard::Request request = makeRead();
  request.method = "PUT";
  request.origin = "http://127.0.0.1:8080";
  request.fetchSite = "same-origin";
  request.fetchMode = "cors";
  request.token = guard.getToken();
  return request;
}

struct HostCase {
  const char* name;
  const char* host;
  bool isOwn;
};

class HttpGuardHost : public testing::TestWithParam<HostCase> {};

TEST_P(HttpGuardHost, IsOwnOnlyWhenNoOtherSiteCanHaveIt) {
  EXPECT_EQ(GetParam().isOwn, HttpGuard("panel.example").isOwnHost(GetParam().host));
}

INSTANTIATE_TEST_SUITE_P(
    Names, HttpGuardHost,
    testing::Values(HostCase{"Address", "127.0.0.1", true}, HostCase{"AddressWithPort", "127.0.0.1:8080", true},
                    HostCase{"AddressOfAnInterface", "192.168.7.1:80", true}, HostCase{"IPv6", "[::1]:8080", true},
                    HostCase{"IPv6WithoutPort", "[::1]", true}, HostCase{"Localhost", "localhost:8080", true},
                    HostCase{"LocalhostInCapitals", "LocalHost", true},
                    HostCase{"NameThatItListensOn", "panel.example:8080", true},
                    HostCase{"AnotherSite", "attacker.example:8080", false},
                    HostCase{"BeginsLikeAnAddress", "127.0.0.1.attacker.example", false},
                    HostCase{"BeginsLikeLocalhost", "localhost.attacker.example", false},
                    HostCase{"EndsLikeLocalhost", "attacker-localhost", false}, HostCase{"Missing", "", false},
                    HostCase{"OnlyAPort", ":8080", false}, HostCase{"OpenBracket", "[::1", false},
                    HostCase{"NoAddressInBrackets", "[attacker.example]", false}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST(HttpGuard, NameOfTheMachineIsOwn) {
  std::array<char, 256> name{};
  ASSERT_EQ(0, gethostname(name.data(), name.size() - 1));
  EXPECT_TRUE(HttpGuard("127.0.0.1").isOwnHost(std::string(name.data()) + ":8080"));
}

TEST(HttpGuard, TokensAreLongAndNeverTheSame) {
  const HttpGuard one("");
  const HttpGuard other("");
  EXPECT_EQ(32U, one.getToken().size());
  EXPECT_NE(other.getToken(), one.getToken());
}

TEST(HttpGuard, ProgramsThatAreNoBrowserMayRead) {
  EXPECT_EQ(ALLOWED, getStatus(HttpGuard(""), makeRead()));
}

TEST(HttpGuard, OwnPageMayReadAndWrite) {
  const HttpGuard guard("");
  EXPECT_EQ(ALLOWED, getStatus(guard, makeWrite(guard)));
}

TEST(HttpGuard, AnotherNameForThisAddressIsRefused) {
  HttpGuard::Request request = makeRead();
  request.host = "attacker.example:8080";
  EXPECT_EQ(421, getStatus(HttpGuard(""), request));
}

TEST(HttpGuard, OriginOfAnotherSiteIsRefused) {
  HttpGuard::Request request = makeRead();
  request.origin = "http://attacker.example";
  EXPECT_EQ(403, getStatus(HttpGuard(""), request));
}

TEST(HttpGuard, OriginOnAnotherPortIsAnotherSite) {
  HttpGuard::Request request = makeRead();
  request.origin = "http://127.0.0.1:8081";
  EXPECT_EQ(403, getStatus(HttpGuard(""), request));
}

TEST(HttpGuard, OriginNullIsAnotherSite) {
  HttpGuard::Request request = makeRead();
  request.origin = "null";
  EXPECT_EQ(403, getStatus(HttpGuard(""), request));
}

TEST(HttpGuard, PageOfAnotherSiteMayNotFetch) {
  HttpGuard::Request request = makeRead();
  request.fetchSite = "cross-site";
  request.fetchMode = "no-cors";
  EXPECT_EQ(403, getStatus(HttpGuard(""), request));
}

TEST(HttpGuard, PageOnAnotherPortMayNotFetch) {
  HttpGuard::Request request = makeRead();
  request.fetchSite = "same-site";
  EXPECT_EQ(403, getStatus(HttpGuard(""), request));
}

TEST(HttpGuard, LinkOfAnotherSiteMayLeadToThePage) {
  HttpGuard::Request request = makeRead();
  request.path = "/";
  request.fetchSite = "cross-site";
  request.fetchMode = "navigate";
  EXPECT_EQ(ALLOWED, getStatus(HttpGuard(""), request));
}

TEST(HttpGuard, LinkOfAnotherSiteLeadsNowhereElse) {
  HttpGuard::Request request = makeRead();
  request.fetchSite = "cross-site";
  request.fetchMode = "navigate";
  EXPECT_EQ(403, getStatus(HttpGuard(""), request));
}

TEST(HttpGuard, WriteWithoutTokenIsRefused) {
  const HttpGuard guard("");
  HttpGuard::Request request = makeWrite(guard);
  request.token = "";
  EXPECT_EQ(403, getStatus(guard, request));
}

TEST(HttpGuard, TokenOfAnotherStartIsRefused) {
  const HttpGuard guard("");
  const HttpGuard earlier("");
  HttpGuard::Request request = makeWrite(guard);
  request.token = earlier.getToken();
  EXPECT_EQ(403, getStatus(guard, request));
}

TEST(HttpGuard, TokenDoesNotHelpAnotherSite) {
  const HttpGuard guard("");
  HttpGuard::Request request = makeWrite(guard);
  request.origin = "http://attacker.example";
  EXPECT_EQ(403, getStatus(guard, request));
}

class HttpGuardMethod : public testing::TestWithParam<const char*> {};

TEST_P(HttpGuardMethod, IsNotServed) {
  const HttpGuard guard("");
  HttpGuard::Request request = makeWrite(guard);
  request.method = GetParam();
  EXPECT_EQ(405, getStatus(guard, request));
}

INSTANTIATE_TEST_SUITE_P(Others, HttpGuardMethod, testing::Values("POST", "DELETE", "OPTIONS", "CONNECT", "TRACE"),
                         [](const auto& tested) { return std::string(tested.param); });

TEST(HttpGuard, AnotherServersURLIsNoPath) {
  HttpGuard::Request request = makeRead();
  request.path = "http://127.0.0.1:8080/";
  EXPECT_EQ(400, getStatus(HttpGuard(""), request));
}

}  // namespace
