#include "HttpServer.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include "PanelError.h"

namespace panel {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::asio::ip::tcp;
using boost::system::error_code;
using std::chrono::milliseconds;

namespace {

// The page needs nothing from elsewhere, and nobody else needs anything from here.
constexpr const char* CONTENT_SECURITY_POLICY =
    "default-src 'self'; img-src 'self' data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

constexpr const char* STREAM_HEADER =
    "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\nX-Content-Type-Options: "
    "nosniff\r\n"
    "Connection: close\r\n\r\n";

constexpr const char* TOO_MANY =
    "HTTP/1.1 503 Service Unavailable\r\nRetry-After: 5\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";

std::string_view toView(beast::string_view text) {
  return {text.data(), text.size()};
}

std::string getHostForURL(const std::string& host) {
  return host.find(':') == std::string::npos ? host : "[" + host + "]";
}

}  // namespace

// What is the library's: kept out of the header, which others compile with.
class HttpServer::Engine {
public:
  Engine(HttpServer& theOwner, const std::string& host, unsigned short port) : owner(theOwner) { listen(host, port); }

  void accept();
  void leave(const Session* session) {
    sessions.erase(
        std::remove_if(sessions.begin(), sessions.end(), [session](const auto& one) { return one.get() == session; }),
        sessions.end());
  }

  HttpServer& owner;
  asio::io_context context{1};
  tcp::acceptor acceptor{context};
  std::vector<std::shared_ptr<Session>> sessions;
  std::size_t streams = 0;
  std::thread thread;

private:
  void listen(const std::string& name, unsigned short port);
  void take(tcp::socket socket);
};

// One connection, and the requests that come on it one after the other.
class HttpServer::Session : public Stream, public std::enable_shared_from_this<Session> {
public:
  Session(Engine& theEngine, tcp::socket socket)
      : engine(theEngine), stream(std::move(socket)), answerTimer(theEngine.context) {}

  void readRequest();
  void close();

  bool isOpen() const override { return open; }
  bool isReady() const override { return open && streaming && !sending; }
  void send(std::string events) override;

private:
  using Message = http::response<http::string_body>;

  void takeRequest(const error_code& error);
  void serve();
  void serve(const Route& route, const HttpRequest& request);
  void awaitAnswer(unsigned int number);
  void answer(const HttpResponse& response);
  void refuse(const HttpResponse& response);
  void write(const HttpResponse& response);
  void startStream(const Route& route, const HttpRequest& request);
  void awaitEnd();
  std::string_view getField(beast::string_view name) const { return toView((*parser).get()[name]); }
  void limit(unsigned int ms) { stream.expires_after(milliseconds(ms)); }

  Engine& engine;
  beast::tcp_stream stream;
  asio::steady_timer answerTimer;
  beast::flat_buffer buffer{LONGEST_HEADER + LONGEST_BODY};
  std::optional<http::request_parser<http::string_body>> parser;
  Message message;
  std::string output;
  unsigned int requests = 0;  // a late answer must not be taken for that of the next request
  bool answered = true;
  bool open = true;
  bool keepAlive = false;
  bool streaming = false;
  bool sending = false;
  char unread = 0;
};

// ---- Engine

void HttpServer::Engine::listen(const std::string& name, unsigned short port) {
  const auto fail = [&](const std::string& why) {
    throw PanelError("--http: cannot listen on " + getHostForURL(name) + ":" + std::to_string(port) + ": " + why);
  };
  error_code error;
  tcp::resolver resolver(context);
  const auto found = resolver.resolve(name, std::to_string(port), tcp::resolver::passive, error);
  if (error || found.empty()) {
    fail("unknown host");
  }
  const tcp::endpoint endPoint = *found.begin();
  try {
    acceptor.open(endPoint.protocol());
    acceptor.set_option(tcp::acceptor::reuse_address(true));
    acceptor.bind(endPoint);
    acceptor.listen();
  } catch (const boost::system::system_error& caught) {
    fail(caught.code().message());
  }
}

void HttpServer::Engine::accept() {
  acceptor.async_accept([this](const error_code& error, tcp::socket socket) {
    if (error == asio::error::operation_aborted) {
      return;
    }
    if (!error) {
      take(std::move(socket));
      accept();
      return;
    }
    // No descriptor is left, for instance: it would fail again at once.
    const auto pause = std::make_shared<asio::steady_timer>(context, milliseconds(1000));
    pause->async_wait([this, pause](const error_code& stopped) {
      if (!stopped) {
        accept();
      }
    });
  });
}

void HttpServer::Engine::take(tcp::socket socket) {
  error_code ignored;
  socket.set_option(tcp::no_delay(true), ignored);
  if (sessions.size() < MAXIMUM_CONNECTIONS) {
    sessions.push_back(std::make_shared<Session>(*this, std::move(socket)));
    sessions.back()->readRequest();
    return;
  }
  socket.non_blocking(true, ignored);
  socket.write_some(asio::buffer(TOO_MANY, std::char_traits<char>::length(TOO_MANY)), ignored);
  socket.shutdown(tcp::socket::shutdown_send, ignored);
}

// ---- Session

void HttpServer::Session::readRequest() {
  parser.emplace();
  parser->header_limit(LONGEST_HEADER);
  parser->body_limit(LONGEST_BODY);
  limit(engine.owner.times.request);
  http::async_read(stream, buffer, *parser,
                   [self = shared_from_this()](const error_code& error, std::size_t) { self->takeRequest(error); });
}

void HttpServer::Session::takeRequest(const error_code& error) {
  if (!open) {
    return;
  }
  if (error == http::error::body_limit) {
    refuse({413, HttpResponse().contentType, "the body is longer than is taken here\n"});
  } else if (error == http::error::header_limit || error == http::error::buffer_overflow) {
    refuse({431, HttpResponse().contentType, "the header is longer than is taken here\n"});
  } else if (error.category() == http::make_error_code(http::error::end_of_stream).category() &&
             error != http::error::end_of_stream && error != http::error::partial_message) {
    refuse({400, HttpResponse().contentType, "not a request\n"});
  } else if (error) {
    close();
  } else {
    serve();
  }
}

void HttpServer::Session::serve() {
  const auto& asked = parser->get();
  const std::string_view target = toView(asked.target());
  const std::size_t mark = target.find('?');
  HttpRequest request{std::string(toView(asked.method_string())), std::string(target.substr(0, mark)),
                      mark == std::string_view::npos ? "" : std::string(target.substr(mark + 1)), asked.body()};
  const auto refusal =
      engine.owner.guard.refuse({request.method, request.path, getField("Host"), getField("Origin"),
                                 getField("Sec-Fetch-Site"), getField("Sec-Fetch-Mode"), getField("X-Panel-Token")});
  answered = false;
  ++requests;
  if (refusal) {
    answer(*refusal);
    return;
  }
  if (request.method == "HEAD") {
    request.method = "GET";
  }
  const Route* const route = engine.owner.findRoute(request);
  if (route == nullptr) {
    answer({404, HttpResponse().contentType, "there is no such page\n"});
  } else if (route->stream) {
    startStream(*route, request);
  } else {
    serve(*route, request);
  }
}

void HttpServer::Session::serve(const Route& route, const HttpRequest& request) {
  const unsigned int number = requests;
  awaitAnswer(number);
  // Who answers may be another thread, and may do so when the client has gone, but not when the server has.
  route.handler(request, [&context = engine.context, weak = weak_from_this(), number](HttpResponse response) {
    asio::post(context, [weak, number, response = std::move(response)] {
      const auto self = weak.lock();
      if (self != nullptr && self->requests == number) {
        self->answer(response);
      }
    });
  });
}

void HttpServer::Session::awaitAnswer(unsigned int number) {
  answerTimer.expires_after(milliseconds(engine.owner.times.answer));
  answerTimer.async_wait([self = shared_from_this(), number](const error_code& stopped) {
    if (!stopped && self->requests == number) {
      self->answer({504, HttpResponse().contentType, "the node did not answer in time\n"});
    }
  });
}

void HttpServer::Session::answer(const HttpResponse& response) {
  if (answered || !open) {
    return;
  }
  answered = true;
  answerTimer.cancel();
  keepAlive = parser->get().keep_alive();
  write(response);
}

void HttpServer::Session::refuse(const HttpResponse& response) {
  keepAlive = false;
  write(response);
}

void HttpServer::Session::write(const HttpResponse& response) {
  message = Message(static_cast<http::status>(response.status), 11);
  message.set(http::field::content_type, response.contentType);
  message.set(http::field::cache_control, "no-store");
  message.set("X-Content-Type-Options", "nosniff");
  message.set("Content-Security-Policy", CONTENT_SECURITY_POLICY);
  message.set("Cross-Origin-Resource-Policy", "same-origin");
  message.set("Referrer-Policy", "no-referrer");
  message.keep_alive(keepAlive);
  message.content_length(response.body.size());
  if (parser->get().method() != http::verb::head) {
    message.body() = response.body;
  }
  limit(engine.owner.times.send);
  http::async_write(stream, message, [self = shared_from_this()](const error_code& error, std::size_t) {
    if (error || !self->keepAlive) {
      self->close();
    } else if (self->open) {
      self->readRequest();
    }
  });
}

void HttpServer::Session::startStream(const Route& route, const HttpRequest& request) {
  if (engine.streams >= MAXIMUM_STREAMS) {
    answer({503, HttpResponse().contentType, "as many pages as are served at a time are open already\n"});
    return;
  }
  ++engine.streams;
  streaming = true;
  stream.expires_never();
  awaitEnd();
  send(STREAM_HEADER);
  route.stream(request, shared_from_this());
}

// A client of a stream sends nothing more; what arrives is its end.
void HttpServer::Session::awaitEnd() {
  stream.async_read_some(asio::buffer(&unread, 1),
                         [self = shared_from_this()](const error_code&, std::size_t) { self->close(); });
}

void HttpServer::Session::send(std::string events) {
  if (!isReady()) {
    return;
  }
  sending = true;
  output = std::move(events);
  limit(engine.owner.times.send);
  asio::async_write(stream, asio::buffer(output), [self = shared_from_this()](const error_code& error, std::size_t) {
    self->sending = false;
    if (error) {
      self->close();
    }
  });
}

void HttpServer::Session::close() {
  if (!open) {
    return;
  }
  open = false;
  if (streaming) {
    --engine.streams;
  }
  answerTimer.cancel();
  error_code ignored;
  stream.socket().shutdown(tcp::socket::shutdown_both, ignored);
  stream.close();
  engine.leave(this);
}

// ---- HttpServer

HttpServer::HttpServer(const ListenAddress& address, const Times& bounds)
    : host(address.host.empty() ? "127.0.0.1" : address.host),
      times(bounds),
      guard(host),
      engine(std::make_unique<Engine>(*this, host, address.port)) {}

HttpServer::~HttpServer() {
  stop();
}

unsigned short HttpServer::getPort() const {
  return engine->acceptor.local_endpoint().port();
}

std::string HttpServer::getURL() const {
  return "http://" + getHostForURL(host) + ":" + std::to_string(getPort()) + "/";
}

void HttpServer::handle(const std::string& method, const std::string& path, Handler handler) {
  routes.push_back({method, path, std::move(handler), nullptr});
}

void HttpServer::serveText(const std::string& path, const std::string& contentType,
                           std::function<std::string()> makeText) {
  handle("GET", path, [contentType, makeText = std::move(makeText)](const HttpRequest&, const Answer& answer) {
    answer({200, contentType, makeText()});
  });
}

void HttpServer::serveStream(const std::string& path, StreamHandler handler) {
  routes.push_back({"GET", path, nullptr, std::move(handler)});
}

const HttpServer::Route* HttpServer::findRoute(const HttpRequest& request) const {
  const auto matches = [&request](const Route& route) {
    if (route.method != request.method) {
      return false;
    }
    if (route.path.back() != '*') {
      return route.path == request.path;
    }
    return request.path.compare(0, route.path.size() - 1, route.path, 0, route.path.size() - 1) == 0;
  };
  const auto found = std::find_if(routes.begin(), routes.end(), matches);
  return found == routes.end() ? nullptr : &*found;
}

void HttpServer::start() {
  engine->accept();
  engine->thread = std::thread([this] { engine->context.run(); });
}

void HttpServer::stop() {
  engine->context.stop();
  if (engine->thread.joinable()) {
    engine->thread.join();
  }
}

void HttpServer::post(std::function<void()> function) {
  asio::post(engine->context, std::move(function));
}

void HttpServer::postAfter(unsigned int ms, std::function<void()> function) {
  post([this, ms, function = std::move(function)] {
    const auto timer = std::make_shared<asio::steady_timer>(engine->context, milliseconds(ms));
    timer->async_wait([timer, function](const error_code& stopped) {
      if (!stopped) {
        function();
      }
    });
  });
}

}  // namespace panel
