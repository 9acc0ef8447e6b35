#include <utility>  // before Asio, whose awaitable.hpp uses std::exchange without including it

#include "https_server.h"

#include "ut_https.h"

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <fcntl.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

namespace qxtest {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::use_awaitable;
using asio::ip::tcp;
using Request = http::request<http::string_body>;

// A key and a certificate: a certificate authority's, or the server's at 127.0.0.1, signed by `issuer`
// or, without one, by itself.
struct Identity {
  std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key{EVP_EC_gen("P-256"), EVP_PKEY_free};
  std::unique_ptr<X509, decltype(&X509_free)> certificate{X509_new(), X509_free};

  explicit Identity(bool authority, const Identity* issuer = nullptr) {
    static std::atomic<long> serial{1};
    X509* cert = certificate.get();
    X509* issuerCert = issuer ? issuer->certificate.get() : cert;
    X509_set_version(cert, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert), serial++);
    X509_gmtime_adj(X509_getm_notBefore(cert), -3600);
    X509_gmtime_adj(X509_getm_notAfter(cert), 86400);
    X509_set_pubkey(cert, key.get());
    const char* name = authority ? "qxutils test authority" : "127.0.0.1";
    X509_NAME_add_entry_by_txt(X509_get_subject_name(cert), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
    X509_set_issuer_name(cert, X509_get_subject_name(issuerCert));
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuerCert, cert, nullptr, nullptr, 0);
    X509_EXTENSION* extension =
        authority ? X509V3_EXT_conf_nid(nullptr, &context, NID_basic_constraints, "critical,CA:TRUE")
                  : X509V3_EXT_conf_nid(nullptr, &context, NID_subject_alt_name, "IP:127.0.0.1");
    X509_add_ext(cert, extension, -1);
    X509_EXTENSION_free(extension);
    X509_sign(cert, (issuer ? issuer : this)->key.get(), EVP_sha256());
  }
};

// The authority whose certificate the tests' bundle holds, and the server certificate it signed.
const Identity& authorityIdentity() {
  static const Identity identity(true);
  return identity;
}

const Identity& trustedIdentity() {
  static const Identity identity(false, &authorityIdentity());
  return identity;
}

}  // namespace

// Declared so that the coroutines, which the io_context destroys, find everything they use still there.
struct HttpsServer::State {
  Kind kind = eTrusted;
  std::mutex mutex;
  std::vector<Received> received;
  int connections = 0, met = 0;
  Identity untrusted{false};
  asio::ssl::context tls{asio::ssl::context::tls_server};
  asio::io_context io;
  tcp::acceptor acceptor{io, {asio::ip::make_address("127.0.0.1"), 0}};
  std::thread thread;

  // Adds `amount` to one of the counters above and returns it.
  int add(int& counter, int amount) {
    const std::lock_guard lock(mutex);
    return counter += amount;
  }
  asio::awaitable<void> pause(long ms) {
    asio::steady_timer timer(io, std::chrono::milliseconds(ms));
    co_await timer.async_wait(use_awaitable);
  }

  asio::awaitable<void> accept() {
    for (;;) {
      tcp::socket socket = co_await acceptor.async_accept(use_awaitable);
      socket.set_option(tcp::no_delay(true));  // answers leave at once, as a real server's do
      add(connections, 1);
      asio::co_spawn(io, session(std::move(socket)), asio::detached);
    }
  }

  asio::awaitable<void> session(tcp::socket socket) {
    if (kind == ePlain) {
      beast::tcp_stream stream(std::move(socket));
      co_await serve(stream);
    } else {
      beast::ssl_stream<beast::tcp_stream> stream(std::move(socket), tls);
      co_await stream.async_handshake(asio::ssl::stream_base::server, use_awaitable);
      co_await serve(stream);
    }
  }

  template <class Stream>
  asio::awaitable<void> serve(Stream& stream) {
    beast::flat_buffer buffer;
    for (bool open = true; open;) {
      http::request_parser<http::string_body> parser;
      parser.body_limit(1 << 28);
      co_await http::async_read_header(stream, buffer, parser, use_awaitable);
      if (parser.get()[http::field::expect] == "100-continue")
        co_await http::async_write(stream, http::response<http::empty_body>(http::status::continue_, 11),
                                   use_awaitable);
      co_await http::async_read(stream, buffer, parser, use_awaitable);
      record(parser.get());
      open = co_await answer(stream, parser.get());
    }
  }

  void record(const Request& request) {
    Received got{std::string(request.method_string()), request.body(), {}};
    for (const auto& field : request) got.headers.emplace_back(field.name_string(), field.value());
    const std::lock_guard lock(mutex);
    received.push_back(std::move(got));
  }

  template <class Stream>
  asio::awaitable<bool> answer(Stream& stream, const Request& request) {
    const std::string target(request.target());
    const auto number = [&](const char* path) {
      return target.rfind(path, 0) == 0 ? std::atol(target.c_str() + std::strlen(path)) : -1;
    };
    http::response<http::string_body> response{http::status::ok, request.version()};
    response.body() = request.body().empty() ? target : request.body();
    if (target == "/cut") {
      const char* reply = "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n0123456789";
      co_await asio::async_write(stream, asio::buffer(reply, std::strlen(reply)), use_awaitable);
      co_return false;
    }
    if (const long status = number("/status/"); status >= 0) {
      response.result(static_cast<unsigned>(status));
      response.body() = "status " + std::to_string(status);
    } else if (target == "/redirect") {
      response.result(http::status::found);
      response.set(http::field::location, "/echo");
    } else if (const long ms = number("/slow/"); ms >= 0) {
      co_await pause(ms);
    } else if (const long expected = number("/meet/"); expected >= 0) {
      add(met, 1);
      for (int i = 0; i < 2000 && add(met, 0) < expected; ++i) co_await pause(5);
      if (add(met, 0) < expected) response.result(http::status::service_unavailable);
    }
    response.keep_alive(request.keep_alive());
    response.prepare_payload();
    co_await http::async_write(stream, response, use_awaitable);
    co_return response.keep_alive();
  }
};

HttpsServer::HttpsServer(Kind kind) : m_state(std::make_unique<State>()) {
  State& state = *m_state;
  state.kind = kind;
  if (kind != ePlain) {
    const Identity& identity = kind == eTrusted ? trustedIdentity() : state.untrusted;
    SSL_CTX_use_certificate(state.tls.native_handle(), identity.certificate.get());
    SSL_CTX_use_PrivateKey(state.tls.native_handle(), identity.key.get());
  }
  asio::co_spawn(state.io, state.accept(), asio::detached);
  state.thread = std::thread([&state] { state.io.run(); });
}

HttpsServer::~HttpsServer() {
  m_state->io.stop();
  m_state->thread.join();
}

std::string HttpsServer::domain() const {
  return "127.0.0.1:" + std::to_string(m_state->acceptor.local_endpoint().port());
}

std::vector<Received> HttpsServer::received() const {
  const std::lock_guard lock(m_state->mutex);
  return m_state->received;
}

int HttpsServer::connections() const { return m_state->add(m_state->connections, 0); }

void HttpsServer::reset() {
  const std::lock_guard lock(m_state->mutex);
  m_state->received.clear();
  m_state->connections = m_state->met = 0;
}

const std::string& HttpsServer::authority() {
  static const std::string pem = [] {
    std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new(BIO_s_mem()), BIO_free);
    PEM_write_bio_X509(bio.get(), authorityIdentity().certificate.get());
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, static_cast<size_t>(size));
  }();
  return pem;
}

HttpsServer& trustedServer() {
  static HttpsServer server;
  static std::once_flag installed;
  std::call_once(installed, [] {
    const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const int lock = open((folder / "cacert.pem.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    flock(lock, LOCK_EX);
    std::ofstream(folder / "cacert.pem", std::ios::binary | std::ios::trunc) << HttpsServer::authority();
    (void)ut::HttpsService(server.domain()).execute(ut::HttpsRequestBuilder().request("/").build());
    close(lock);
  });
  return server;
}

}  // namespace qxtest
