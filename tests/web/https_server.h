// A real HTTPS server on 127.0.0.1 for the web family's tests and benchmarks: Boost.Beast over Asio and
// OpenSSL, on a thread of its own, with a certificate made as it starts. It records every request and
// answers by path:
//   /status/<n>   status n, body "status <n>"       /redirect   302 to /echo
//   /slow/<ms>    the echo after <ms> ms             /meet/<n>   answers once n requests have come (10 s at
//   most) /cut          a Content-Length of 1000, 10 bytes, then the connection closed anything else 200 with
//   the request's body, or its target when it has none

#ifndef QX_TESTS_HTTPS_SERVER_H
#define QX_TESTS_HTTPS_SERVER_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qxtest {

struct Received {
  std::string method, body;
  std::vector<std::pair<std::string, std::string>> headers;  // in the order they came
};

class HttpsServer {
 public:
  // eTrusted: a certificate signed by authority(); eUntrusted: a self-signed one; ePlain: HTTP, no TLS.
  enum Kind { eTrusted, eUntrusted, ePlain };
  explicit HttpsServer(Kind kind = eTrusted);
  ~HttpsServer();

  std::string domain() const;  // "127.0.0.1:<port>"
  std::vector<Received> received() const;
  int connections() const;  // accepted so far
  void reset();             // forgets what was received and counted

  // The PEM certificate of the authority that signed every trusted server's; one per process.
  static const std::string& authority();

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

// The process's trusted server. The first call writes authority() as "cacert.pem" beside the running
// program and has the library read it while no other process can replace the file: test programs in
// one folder share it, and the library reads it once.
HttpsServer& trustedServer();

}  // namespace qxtest

#endif
