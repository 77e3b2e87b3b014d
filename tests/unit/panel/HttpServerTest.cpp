// Covers: the HTTP server, over loopback connections.
//
// | subject                                                     | functional                             | robustness |
// |-------------------------------------------------------------|----------------------------------------|------------|
// | an answer at once, from another thread, never; paths, HEAD, | x                                      |            |
// | keep-alive                                                  |                                        |            |
// | a stream of events                                          | begins, goes on when it was read, ends |            |
// | requests that are no requests, too long, cut off, for other |                                        | x          |
// | hosts                                                       |                                        |            |
// | more clients and more streams than are served; one who      |                                        | x          |
// | never reads                                                 |                                        |            |

#include "HttpServer.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <future>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PanelError.h"

namespace {

using panel::HttpRequest;
using panel::HttpServer;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* HOST = "Host: 127.0.0.1\r\n";

// A client that speaks bytes.
class Client {
public:
  explicit Client(const HttpServer& server) : descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval patience{20, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(server.getPort());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  }
  ~Client() { close(descriptor); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  void send(const std::string& text) const { ::send(descriptor, text.data(), text.size(), MSG_NOSIGNAL); }

  // What arrives until that text does, or the end.
  std::string readUntil(const std::string& end) const {
    std::string text;
    char letter = 0;
    while (text.find(end) == std::string::npos && recv(descriptor, &letter, 1, 0) == 1) {
      text += letter;
    }
    return text;
  }
  std::string readAll() const { return readUntil("\x01 no text has this"); }

  std::string ask(const std::string& request) const {
    send(request);
    return readAll();
  }

private:
  const int descriptor;
};

class HttpServerTest : public testing::Test {
protected:
  HttpServerTest() : server({"127.0.0.1", 0}) {
    server.serveText("/text", "text/plain", [] { return std::string("a text"); });
  }

  std::string get(const std::string& path, const std::string& fields = HOST) const {
    return Client(server).ask("GET " + path + " HTTP/1.1\r\n" + fields + "Connection: close\r\n\r\n");
  }

  HttpServer server;
};

TEST_F(HttpServerTest, TextIsAnsweredWithItsTypeAndNothingFromElsewhereMayRunInIt) {
  server.start();
  const std::string answer = get("/text");
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(answer, HasSubstr("Content-Type: text/plain\r\n"));
  EXPECT_THAT(answer, HasSubstr("Content-Security-Policy: default-src 'self'"));
  EXPECT_THAT(answer, HasSubstr("\r\n\r\na text"));
}

TEST_F(HttpServerTest, AddressTellsThePortThatWasTaken) {
  EXPECT_NE(0, server.getPort());
  EXPECT_EQ("http://127.0.0.1:" + std::to_string(server.getPort()) + "/", server.getURL());
}

TEST_F(HttpServerTest, WithoutHostItListensOnLoopback) {
  EXPECT_THAT(HttpServer({"", 0}).getURL(), StartsWith("http://127.0.0.1:"));
}

TEST_F(HttpServerTest, PortInUseIsAnErrorThatNamesIt) {
  try {
    const HttpServer second({"127.0.0.1", server.getPort()});
    FAIL() << "no error";
  } catch (const panel::PanelError& error) {
    EXPECT_THAT(error.what(), HasSubstr("--http: cannot listen on 127.0.0.1:" + std::to_string(server.getPort())));
  }
}

TEST_F(HttpServerTest, UnknownPathIsNotFound) {
  server.start();
  EXPECT_THAT(get("/other"), StartsWith("HTTP/1.1 404 "));
}

TEST_F(HttpServerTest, PathWithStarStandsForAllThatBeginSo) {
  server.handle("GET", "/api/*", [](const HttpRequest& request, const HttpServer::Answer& answer) {
    answer({200, "text/plain", request.path + " " + request.query});
  });
  server.start();
  EXPECT_THAT(get("/api/objects?keys=1"), HasSubstr("\r\n\r\n/api/objects keys=1"));
}

TEST_F(HttpServerTest, HeadIsAnsweredWithoutBody) {
  server.start();
  const std::string answer =
      Client(server).ask("HEAD /text HTTP/1.1\r\n" + std::string(HOST) + "Connection: close\r\n\r\n");
  EXPECT_THAT(answer, HasSubstr("Content-Length: 6"));
  EXPECT_THAT(answer, Not(HasSubstr("a text")));
}

TEST_F(HttpServerTest, ConnectionIsKeptForTheNextRequest) {
  server.start();
  const Client client(server);
  client.send("GET /text HTTP/1.1\r\n" + std::string(HOST) + "\r\n");
  EXPECT_THAT(client.readUntil("a text"), StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(client.ask("GET /other HTTP/1.1\r\n" + std::string(HOST) + "Connection: close\r\n\r\n"),
              StartsWith("HTTP/1.1 404 "));
}

TEST_F(HttpServerTest, AnotherThreadMayAnswer) {
  std::promise<HttpServer::Answer> asked;
  server.handle("GET", "/later",
                [&asked](const HttpRequest&, const HttpServer::Answer& answer) { asked.set_value(answer); });
  server.start();
  const Client client(server);
  client.send("GET /later HTTP/1.1\r\n" + std::string(HOST) + "Connection: close\r\n\r\n");
  asked.get_future().get()({200, "text/plain", "from another thread"});
  EXPECT_THAT(client.readAll(), HasSubstr("from another thread"));
}

TEST_F(HttpServerTest, AnswerForAClientWhoHasGoneIsForgotten) {
  std::promise<HttpServer::Answer> asked;
  server.handle("GET", "/later",
                [&asked](const HttpRequest&, const HttpServer::Answer& answer) { asked.set_value(answer); });
  server.start();
  HttpServer::Answer answer;
  {
    const Client client(server);
    client.send("GET /later HTTP/1.1\r\n" + std::string(HOST) + "\r\n");
    answer = asked.get_future().get();
  }
  answer({200, "text/plain", "nobody is there"});
  EXPECT_THAT(get("/text"), StartsWith("HTTP/1.1 200 "));
}

TEST_F(HttpServerTest, RequestByAnotherNameIsRefused) {
  server.start();
  EXPECT_THAT(get("/text", "Host: attacker.example\r\n"), StartsWith("HTTP/1.1 421 "));
}

TEST_F(HttpServerTest, RequestWithoutHostIsRefused) {
  server.start();
  EXPECT_THAT(get("/text", ""), StartsWith("HTTP/1.1 421 "));
}

TEST_F(HttpServerTest, WriteIsHandedOnWithTheTokenOnly) {
  server.handle("PUT", "/write", [](const HttpRequest& request, const HttpServer::Answer& answer) {
    answer({200, "text/plain", "taken: " + request.body});
  });
  server.start();
  const std::string request =
      "PUT /write HTTP/1.1\r\n" + std::string(HOST) + "Connection: close\r\nContent-Length: 3\r\n";
  EXPECT_THAT(Client(server).ask(request + "\r\n600"), StartsWith("HTTP/1.1 403 "));
  EXPECT_THAT(Client(server).ask(request + "X-Panel-Token: " + server.getGuard().getToken() + "\r\n\r\n600"),
              HasSubstr("taken: 600"));
}

TEST_F(HttpServerTest, WhatIsNoRequestIsRefused) {
  server.start();
  EXPECT_THAT(Client(server).ask("705#00\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
}

TEST_F(HttpServerTest, HeaderThatIsTooLongIsRefused) {
  server.start();
  EXPECT_THAT(get("/text", "A: " + std::string(HttpServer::LONGEST_HEADER, 'a') + "\r\n"), StartsWith("HTTP/1.1 431 "));
}

TEST_F(HttpServerTest, BodyThatIsTooLongIsRefusedBeforeItIsRead) {
  server.start();
  const std::string length = std::to_string(HttpServer::LONGEST_BODY + 1);
  EXPECT_THAT(
      Client(server).ask("PUT /write HTTP/1.1\r\n" + std::string(HOST) + "Content-Length: " + length + "\r\n\r\n"),
      StartsWith("HTTP/1.1 413 "));
}

TEST_F(HttpServerTest, ClientBeyondTheLastIsToldSo) {
  server.start();
  std::vector<std::unique_ptr<Client>> clients;
  for (std::size_t i = 0; i < HttpServer::MAXIMUM_CONNECTIONS; ++i) {
    clients.push_back(std::make_unique<Client>(server));
  }
  EXPECT_THAT(Client(server).readAll(), StartsWith("HTTP/1.1 503 "));
}

TEST_F(HttpServerTest, ClientWhoGoesMakesRoom) {
  server.start();
  std::vector<std::unique_ptr<Client>> clients;
  for (std::size_t i = 0; i < HttpServer::MAXIMUM_CONNECTIONS; ++i) {
    clients.push_back(std::make_unique<Client>(server));
  }
  // An answer shows that those before it have been taken in.
  clients.back()->send("GET /text HTTP/1.1\r\n" + std::string(HOST) + "\r\n");
  clients.back()->readUntil("a text");
  clients.front()->send("GET /text HTTP/1.1\r\n" + std::string(HOST) + "Connection: close\r\n\r\n");
  clients.front()->readAll();
  EXPECT_THAT(get("/text"), StartsWith("HTTP/1.1 200 "));
}

// ---- time

class HttpServerTimes : public HttpServerTest {
protected:
  static constexpr unsigned int SHORT_MS = 20;
};

TEST_F(HttpServerTimes, ClientWhoSaysNothingIsLetGo) {
  HttpServer impatient({"127.0.0.1", 0}, {SHORT_MS, 20000, 20000});
  impatient.start();
  EXPECT_EQ("", Client(impatient).readAll());
}

TEST_F(HttpServerTimes, ClientWhoSpeaksOneLetterAfterTheOtherIsLetGo) {
  HttpServer impatient({"127.0.0.1", 0}, {SHORT_MS, 20000, 20000});
  impatient.start();
  const Client client(impatient);
  client.send("GET /text HTT");
  EXPECT_EQ("", client.readAll());
}

TEST_F(HttpServerTimes, HandlerThatDoesNotAnswerIsAnsweredFor) {
  HttpServer impatient({"127.0.0.1", 0}, {20000, 20000, SHORT_MS});
  impatient.handle("GET", "/never", [](const HttpRequest&, const HttpServer::Answer&) {});
  impatient.start();
  EXPECT_THAT(Client(impatient).ask("GET /never HTTP/1.1\r\n" + std::string(HOST) + "Connection: close\r\n\r\n"),
              StartsWith("HTTP/1.1 504 "));
}

TEST_F(HttpServerTimes, ClientWhoReadsNothingOfAStreamIsLetGo) {
  HttpServer impatient({"127.0.0.1", 0}, {20000, SHORT_MS, 20000});
  std::promise<std::shared_ptr<HttpServer::Stream>> opened;
  impatient.serveStream("/events", [&opened](const HttpRequest&, std::shared_ptr<HttpServer::Stream> stream) {
    opened.set_value(std::move(stream));
  });
  impatient.start();
  const Client client(impatient);
  client.send("GET /events HTTP/1.1\r\n" + std::string(HOST) + "\r\n");
  client.readUntil("\r\n\r\n");
  const auto stream = opened.get_future().get();
  const auto ask = [&impatient](const std::function<bool()>& question) {
    std::promise<bool> result;
    impatient.post([&] { result.set_value(question()); });
    return result.get_future().get();
  };
  while (!ask([&] { return stream->isReady(); })) {
  }
  impatient.post([&] { stream->send(std::string(1U << 24U, 'x')); });  // more than the sockets hold
  while (ask([&] { return stream->isOpen(); })) {
  }
  SUCCEED();
}

// ---- streams

class HttpServerStream : public HttpServerTest {
protected:
  HttpServerStream() {
    server.serveStream("/events", [this](const HttpRequest&, std::shared_ptr<HttpServer::Stream> stream) {
      streams.push_back(std::move(stream));
      opened.set_value();
      opened = {};
    });
  }

  // Connects and waits until the server has taken it in.
  std::unique_ptr<Client> open() {
    auto client = std::make_unique<Client>(server);
    client->send("GET /events HTTP/1.1\r\n" + std::string(HOST) + "\r\n");
    EXPECT_THAT(client->readUntil("\r\n\r\n"), HasSubstr("Content-Type: text/event-stream\r\n"));
    return client;
  }

  // Asks something on the server's thread.
  template <typename Function>
  auto on(Function function) {
    std::promise<decltype(function())> result;
    server.post([&] { result.set_value(function()); });
    return result.get_future().get();
  }

  std::vector<std::shared_ptr<HttpServer::Stream>> streams;  // the server's thread's
  std::promise<void> opened;
};

TEST_F(HttpServerStream, EventsArriveAsTheyAreSent) {
  server.start();
  const auto client = open();
  while (!on([this] { return streams.at(0)->isReady(); })) {
  }
  server.post([this] { streams.at(0)->send("event: a\ndata: 1\n\n"); });
  EXPECT_EQ("event: a\ndata: 1\n\n", client->readUntil("\n\n"));
}

TEST_F(HttpServerStream, NothingMoreIsTakenForAClientWhoDoesNotRead) {
  server.start();
  const auto client = open();
  const std::string large(1U << 24U, 'x');  // more than the sockets hold
  while (!on([this] { return streams.at(0)->isReady(); })) {
  }
  server.post([this, &large] { streams.at(0)->send(large); });
  EXPECT_FALSE(on([this] { return streams.at(0)->isReady(); }));
  EXPECT_TRUE(on([this] { return streams.at(0)->isOpen(); }));
}

TEST_F(HttpServerStream, ClientWhoGoesClosesIt) {
  server.start();
  open().reset();
  while (on([this] { return streams.at(0)->isOpen(); })) {
  }
  EXPECT_FALSE(on([this] { return streams.at(0)->isReady(); }));
}

TEST_F(HttpServerStream, ThereAreOnlySoMany) {
  server.start();
  std::vector<std::unique_ptr<Client>> clients;
  for (std::size_t i = 0; i < HttpServer::MAXIMUM_STREAMS; ++i) {
    clients.push_back(open());
  }
  EXPECT_THAT(get("/events"), StartsWith("HTTP/1.1 503 "));
}

TEST_F(HttpServerStream, ServerEndsWithStreamsOpen) {
  server.start();
  const auto client = open();
  server.stop();
  SUCCEED();
}

}  // namespace
