// A real HTTPS server on 127.0.0.1 for the web family's tests and benchmarks: Boost.Beast over Asio and
// OpenSSL, on a thread of its own, with certificates made as it starts. It records every request and
// answers by path:
//   /status/<n>   status n, body "status <n>"       /redirect   302 to /echo
//   /slow/<ms>    the echo after <ms> ms             /big/<n>    a body of n bytes
//   /cut          a Content-Length of 1000, 10 bytes, then the connection closed
//   /malformed    a reply that is not HTTP           /meet/<n>   answers once n requests have come (10 s at most)
//   anything else 200 with the request's body, or its target when it has none

#ifndef QX_TESTS_HTTPS_SERVER_H
#define QX_TESTS_HTTPS_SERVER_H

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qxtest {

struct ReceivedPart {
  std::string name, fileName, type, content;
};

struct Received {
  std::string method, target, body;
  std::vector<std::pair<std::string, std::string>> headers;  // in the order they came
  std::vector<ReceivedPart> parts;                            // of a multipart/form-data body
  std::string header(const std::string& name) const;          // empty when absent
};

class HttpsServer {
 public:
  // eTrusted: certified by authority(); eUntrusted: by a certificate of its own; ePlain: HTTP, no TLS.
  enum Kind { eTrusted, eUntrusted, ePlain };
  explicit HttpsServer(Kind kind = eTrusted);
  ~HttpsServer();

  std::string domain() const;  // "127.0.0.1:<port>"
  std::vector<Received> received() const;
  int connections() const;  // accepted so far
  void reset();             // forgets what was received and counted

  // The PEM certificate of the authority that certifies trusted servers; one per process.
  static const std::string& authority();

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

// Writes authority() as "cacert.pem" beside the running program and has `readBundle` run while no other
// process can replace the file: test programs in one folder share it, and the library reads it once.
void installAuthority(const std::function<void()>& readBundle);

}  // namespace qxtest

#endif
