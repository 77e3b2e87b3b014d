#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "HttpGuard.h"
#include "HttpMessage.h"
#include "PanelOptions.h"

namespace panel {

/// Answers HTTP on a thread of its own, which sleeps unless somebody asks. Handlers run on that thread, one after the
/// other: none may wait for anything. What takes time is answered later.
///
/// What clients cannot do to it: there are MAXIMUM_CONNECTIONS and MAXIMUM_STREAMS of them, the others are told so; a
/// request has a greatest length, and it and the answer a longest time; what a slow client does not read is not kept
/// for it. HttpGuard says who is let in.
class HttpServer {
public:
  static constexpr std::size_t MAXIMUM_CONNECTIONS = 32;
  static constexpr std::size_t MAXIMUM_STREAMS = 8;
  static constexpr std::size_t LONGEST_HEADER = 8192;  ///< bytes of a request's header fields
  static constexpr std::size_t LONGEST_BODY = 4096;

  /// How long things may take, in ms.
  struct Times {
    unsigned int request = 20000;  ///< from the end of the answer before to the end of a request
    unsigned int send = 20000;     ///< for a client to take an answer, or what is sent on a stream
    unsigned int answer = 5000;    ///< for a handler to answer; then the client gets a 504
  };

  /// Answers a request, once; further calls do nothing. Any thread, also when the client has gone.
  using Answer = std::function<void(HttpResponse)>;
  using Handler = std::function<void(const HttpRequest&, Answer)>;

  /// A client that listens to server-sent events. Its operations belong to the server's thread.
  class Stream {
  public:
    virtual ~Stream() = default;

    /// False once the client has gone.
    virtual bool isOpen() const = 0;

    /// Whether all that was sent has been taken: nothing can be sent before.
    virtual bool isReady() const = 0;

    /// Hands one or more whole events over ("event: NAME\ndata: TEXT\n\n"). Without effect unless isReady().
    virtual void send(std::string events) = 0;
  };
  using StreamHandler = std::function<void(const HttpRequest&, std::shared_ptr<Stream>)>;

  /// Takes the address, so that clients may connect already. @throws PanelError when it cannot be had
  explicit HttpServer(const ListenAddress& address) : HttpServer(address, Times()) {}
  HttpServer(const ListenAddress& address, const Times& bounds);

  /// Stops.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  /// The port that was taken. Any thread.
  unsigned short getPort() const;

  /// Where the page is, as a person types it: "http://127.0.0.1:8080/". Any thread.
  std::string getURL() const;

  /// Any thread.
  const HttpGuard& getGuard() const { return guard; }

  /// Says what is answered to a method and path; a path that ends in '*' stands for all that begin so. Before start().
  void handle(const std::string& method, const std::string& path, Handler handler);

  /// The same for a text that is made anew for each GET, on the server's thread. Before start().
  void serveText(const std::string& path, const std::string& contentType, std::function<std::string()> makeText);

  /// The same for a GET that is answered by a stream of events. Before start().
  void serveStream(const std::string& path, StreamHandler handler);

  /// Starts the thread. Signals that are blocked now are blocked in it, too.
  void start();

  /// Ends the thread and lets go of all clients. No handler is called afterwards. Not on the server's thread.
  void stop();

  /// Runs a function on the server's thread soon, unless the server is stopped before. Any thread.
  void post(std::function<void()> function);

  /// The same after a time. Any thread.
  void postAfter(unsigned int ms, std::function<void()> function);

private:
  class Engine;
  class Session;
  struct Route {
    std::string method;
    std::string path;
    Handler handler;  ///< or:
    StreamHandler stream;
  };

  const Route* findRoute(const HttpRequest& request) const;

  const std::string host;
  const Times times;
  const HttpGuard guard;
  std::vector<Route> routes;
  std::unique_ptr<Engine> engine;
};

}  // namespace panel
