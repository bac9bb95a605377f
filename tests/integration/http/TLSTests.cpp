#include "HTTPFixture.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace corvane::test {
namespace {

using testing::HasSubstr;

/// An authority that the client is told to trust.
struct TLSFixture : testing::Test {
  Identity authority = makeAuthority("Corvane test authority");
  TemporaryFile authorityFile{authority.pem()};

  Answer getFrom(const ScriptedServer& server, const std::string& host = "localhost") {
    HTTPFixture http({}, authorityFile.path());
    auto request = makeRequest("GET", server.url(host, "/?s3cret"));
    request.bearer = Secret("s3cret");
    return http.perform(std::move(request));
  }

  static ScriptedServer serverWith(Identity identity, int onlyVersion = 0) {
    return ScriptedServer({std::move(identity), onlyVersion}, alwaysAnswer(httpAnswer("ok")));
  }
};

TEST_F(TLSFixture, ExtraAuthorityIsTrustedBesideTheSystems) {
  const auto server = serverWith(makeServerIdentity(authority, "localhost"));
  EXPECT_THAT(getFrom(server), IsAnswer(200, "ok"));
}

TEST_F(TLSFixture, CertificateForAnAddressIsTrusted) {
  const auto server = serverWith(makeServerIdentity(authority, "127.0.0.1"));
  EXPECT_THAT(getFrom(server, "127.0.0.1"), IsAnswer(200, "ok"));
}

TEST_F(TLSFixture, ExpiredCertificateIsNotTrusted) {
  const auto server = serverWith(makeServerIdentity(authority, "localhost", Validity::past));
  const auto answer = getFrom(server);
  ASSERT_THAT(answer, IsURLError(-1202));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("expired"));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("localhost"));
}

TEST_F(TLSFixture, CertificateOfAnotherHostIsNotTrusted) {
  const auto server = serverWith(makeServerIdentity(authority, "drive.example.com"));
  EXPECT_THAT(getFrom(server), IsURLError(-1202));
}

TEST_F(TLSFixture, UnknownAuthorityIsNotTrusted) {
  const Identity stranger = makeAuthority("Unknown authority");
  const auto server = serverWith(makeServerIdentity(stranger, "localhost"));
  EXPECT_THAT(getFrom(server), IsURLError(-1202));
}

TEST_F(TLSFixture, SelfSignedCertificateIsNotTrusted) {
  const auto server = serverWith(makeSelfSigned("localhost"));
  const auto answer = getFrom(server);
  ASSERT_THAT(answer, IsURLError(-1202));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("self"));
}

TEST_F(TLSFixture, SystemsAuthoritiesAloneDoNotKnowTheExtraOne) {
  const auto server = serverWith(makeServerIdentity(authority, "localhost"));
  HTTPFixture http;
  EXPECT_THAT(http.get(server.url("localhost", "/")), IsURLError(-1202));
}

TEST_F(TLSFixture, OldProtocolIsRefused) {
  const auto server = serverWith(makeServerIdentity(authority, "localhost"), TLS1_1_VERSION);
  EXPECT_THAT(getFrom(server), IsURLError(-1200));
}

TEST_F(TLSFixture, OldestAcceptedProtocolIsAccepted) {
  const auto server = serverWith(makeServerIdentity(authority, "localhost"), TLS1_2_VERSION);
  EXPECT_THAT(getFrom(server), IsAnswer(200, "ok"));
}

TEST_F(TLSFixture, NothingIsSentToAServerThatIsNotTrusted) {
  const Identity stranger = makeAuthority("Unknown authority");
  const auto isAsked = [&](Identity identity, int onlyVersion = 0) {
    std::atomic<bool> asked{false};
    const ScriptedServer server({std::move(identity), onlyVersion}, [&](ScriptedConnection& connection) {
      if (connection.open() && !connection.readRequest().empty()) asked = true;
    });
    const auto answer = getFrom(server);
    EXPECT_FALSE(answer.isSuccess());
    const NSError error = answer.error();
    for (const auto& [key, value] : error.userInfo())
      EXPECT_THAT(value.description(), testing::Not(HasSubstr("s3cret"))) << key;
    server.waitUntilAlone();
    return asked.load();
  };
  EXPECT_TRUE(isAsked(makeServerIdentity(authority, "localhost")));
  EXPECT_FALSE(isAsked(makeServerIdentity(authority, "localhost", Validity::past)));
  EXPECT_FALSE(isAsked(makeServerIdentity(authority, "drive.example.com")));
  EXPECT_FALSE(isAsked(makeServerIdentity(stranger, "localhost")));
  EXPECT_FALSE(isAsked(makeSelfSigned("localhost")));
  EXPECT_FALSE(isAsked(makeServerIdentity(authority, "localhost"), TLS1_1_VERSION));
}

TEST_F(TLSFixture, ServerThatDoesNotSpeakTLSFailsTheHandshake) {
  const ScriptedServer plain([](ScriptedConnection& connection) {
    connection.send("HTTP/1.1 400 Bad Request\r\n\r\n");
    connection.waitForEnd();
  });
  HTTPFixture http;
  const auto answer = http.get("https://localhost:" + std::to_string(plain.port()) + "/?s3cret");
  ASSERT_THAT(answer, IsURLError(-1200));
  EXPECT_THAT(answer.error().localizedDescription(), testing::Not(HasSubstr("s3cret")));
}

TEST_F(TLSFixture, AlertInTheHandshakeFailsIt) {
  const ScriptedServer server([](ScriptedConnection& connection) {
    connection.send(std::string_view("\x15\x03\x03\x00\x02\x02\x28", 7));  // fatal, handshake_failure
    connection.waitForEnd();
  });
  HTTPFixture http;
  EXPECT_THAT(http.get("https://localhost:" + std::to_string(server.port()) + "/"), IsURLError(-1200));
}

TEST_F(TLSFixture, TruncatedAnswerIsNoAnswer) {
  // Without a length only the closing alert tells the end; a connection cut by someone in between has none.
  const ScriptedServer server({makeServerIdentity(authority, "localhost"), 0},
                              [](ScriptedConnection& connection) {
                                connection.readRequest();
                                connection.send("HTTP/1.1 200 OK\r\n\r\nhalf");
                                connection.reset();
                              });
  EXPECT_THAT(getFrom(server), IsURLError(-1005));
}

TEST_F(TLSFixture, ConnectionIsKeptBetweenRequests) {
  const auto server = serverWith(makeServerIdentity(authority, "localhost"));
  HTTPFixture http({}, authorityFile.path());
  for (int i = 0; i < 3; ++i) EXPECT_THAT(http.get(server.url("localhost", "/")), IsAnswer(200, "ok"));
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(TLSFixture, ServersAreCheckedAsMuchAfterARequestWithoutTLS) {
  const ScriptedServer plain(alwaysAnswer(httpAnswer("plain")));
  const auto trusted = serverWith(makeServerIdentity(authority, "localhost"));
  const auto untrusted = serverWith(makeSelfSigned("localhost"));
  HTTPFixture http({}, authorityFile.path());
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(http.get(plain.url()), IsAnswer(200, "plain"));
    EXPECT_THAT(http.get(trusted.url("localhost", "/")), IsAnswer(200, "ok"));
    EXPECT_THAT(http.get(plain.url()), IsAnswer(200, "plain"));
    EXPECT_THAT(http.get(untrusted.url("localhost", "/")), IsURLError(-1202));
  }
}

TEST_F(TLSFixture, MissingAuthorityFileFailsSecureRequestsOnlyAndIsNamed) {
  const ScriptedServer plain(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http({}, "/nonexistent/authority.pem");
  const auto answer = http.get("https://localhost:1/");
  ASSERT_THAT(answer, IsURLError(-1202));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("/nonexistent/authority.pem"));
  EXPECT_THAT(http.get(plain.url()), IsAnswer(200, "ok"));
}

TEST_F(TLSFixture, KeyLogOfTheEnvironmentGetsNoSecret) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // libcurl reads the variable once in a process
  const auto handshake = [this] {
    const TemporaryFile log("");
    ::setenv("SSLKEYLOGFILE", log.path().c_str(), 1);
    const auto server = serverWith(makeServerIdentity(authority, "localhost"));
    const bool answered = getFrom(server).isSuccess();
    const bool isLogged = std::filesystem::file_size(log.path()) > 0;
    const bool isVariableKept = ::getenv("SSLKEYLOGFILE") == log.path();
    ::unlink(log.path().c_str());
    ::_exit(!answered ? 1 : isLogged ? 2 : !isVariableKept ? 3 : 0);
  };
  EXPECT_EXIT(handshake(), testing::ExitedWithCode(0), "");
}

/// A server that sends one answer and closes the connection without TLS's closing alert.
ScriptedServer::Script answerAndCut(std::string bytes) {
  return [bytes = std::move(bytes)](ScriptedConnection& connection) {
    connection.readRequest();
    connection.send(bytes);
    connection.cut();
  };
}

TEST_F(TLSFixture, AnswerOfUnknownLengthThatIsCutIsNoAnswer) {
  for (const auto* answer : {"HTTP/1.1 200 OK\r\n\r\nhalf", "HTTP/1.1 200 OK\r\n\r\n",
                             "HTTP/1.1 503 Busy\r\nX-A: b\r\n\r\nhalf"}) {
    const ScriptedServer server({makeServerIdentity(authority, "localhost")}, answerAndCut(answer));
    EXPECT_THAT(getFrom(server), IsURLError(urlError::networkConnectionLost)) << answer;
  }
}

TEST_F(TLSFixture, AnswerOfUnknownLengthThatIsEndedIsWhole) {
  const ScriptedServer server({makeServerIdentity(authority, "localhost")},
                              answerAndClose("HTTP/1.1 200 OK\r\n\r\nwhole"));
  EXPECT_THAT(getFrom(server), IsAnswer(200, "whole"));
}

TEST_F(TLSFixture, AnswerOfKnownLengthThatIsCutAfterwardsIsWhole) {
  const std::pair<const char*, const char*> answers[] = {
      {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nwhole", "whole"},
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nwhole\r\n0\r\n\r\n", "whole"}};
  for (const auto& [answer, body] : answers) {
    const ScriptedServer server({makeServerIdentity(authority, "localhost")}, answerAndCut(answer));
    EXPECT_THAT(getFrom(server), IsAnswer(200, body)) << answer;
  }
  const ScriptedServer empty({makeServerIdentity(authority, "localhost")},
                             answerAndCut("HTTP/1.1 204 No Content\r\n\r\n"));
  EXPECT_THAT(getFrom(empty), IsAnswer(204, ""));
}

}  // namespace
}  // namespace corvane::test
