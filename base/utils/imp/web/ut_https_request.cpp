// The values around an HTTPS transfer: the request builder, the errors, and the percent codes that make
// names safe in file paths.

#include "ut_https.h"

#include "OdAnsiString.h"

#include <utility>

namespace ut {

namespace {

OdString fromUtf8(const std::string& bytes) { return OdString(OdAnsiString(bytes)); }

// The characters percentEncode escapes with their codes: "%" first, so that no code is escaped again.
constexpr std::pair<const wchar_t*, const wchar_t*> kPercentCodes[] = {
    {L"%", L"%25"}, {L"\"", L"%22"}, {L"*", L"%2A"}, {L",", L"%2C"}, {L"/", L"%2F"},
    {L":", L"%3A"}, {L";", L"%3B"},  {L"<", L"%3C"}, {L"=", L"%3D"}, {L">", L"%3E"},
    {L"?", L"%3F"}, {L"\\", L"%5C"}, {L"`", L"%60"}, {L"|", L"%7C"},
};

}  // namespace

HttpsError::HttpsError(const std::string& message) : OdError(fromUtf8(message)) {}

HttpsResponseError::HttpsResponseError(HttpsResponse response)
    : HttpsError(response.body), m_response(std::move(response)) {}

HttpsCurlNetworkError::HttpsCurlNetworkError(const std::string& message, int curlErrorCode)
    : OdError(fromUtf8(message)), m_curlErrorCode(curlErrorCode) {}

template <class Field, class Value>
HttpsRequestBuilder& HttpsRequestBuilder::set(Field HttpsRequest::*field, Value&& value) {
  m_request.*field = std::forward<Value>(value);
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::get() { return set(&HttpsRequest::method, HttpsRequest::eGet); }
HttpsRequestBuilder& HttpsRequestBuilder::post() { return set(&HttpsRequest::method, HttpsRequest::ePost); }
HttpsRequestBuilder& HttpsRequestBuilder::put() { return set(&HttpsRequest::method, HttpsRequest::ePut); }

HttpsRequestBuilder& HttpsRequestBuilder::request(std::string request) {
  return set(&HttpsRequest::request, std::move(request));
}

HttpsRequestBuilder& HttpsRequestBuilder::body(std::string body) {
  return set(&HttpsRequest::body, std::move(body));
}

HttpsRequestBuilder& HttpsRequestBuilder::timeout(long milliseconds) {
  return set(&HttpsRequest::timeout, milliseconds);
}

HttpsRequestBuilder& HttpsRequestBuilder::sendJson(bool sendJson) {
  return set(&HttpsRequest::sendJson, sendJson);
}

HttpsRequestBuilder& HttpsRequestBuilder::setAcceptHeader(const std::string& accept) {
  return set(&HttpsRequest::acceptHeader, accept);
}

HttpsRequestBuilder& HttpsRequestBuilder::followRedirection(bool follow) {
  return set(&HttpsRequest::followRedirection, follow);
}

HttpsRequestBuilder& HttpsRequestBuilder::https(bool https) { return set(&HttpsRequest::https, https); }

HttpsRequestBuilder& HttpsRequestBuilder::verifySSLCertificate(bool verify) {
  return set(&HttpsRequest::verifySSLCertificate, verify);
}

HttpsRequestBuilder& HttpsRequestBuilder::authorizeBearer(const std::string& token) {
  return set(&HttpsRequest::bearerToken, token);
}

HttpsRequestBuilder& HttpsRequestBuilder::authorizeCredentials(const std::string& user,
                                                               const std::string& password) {
  set(&HttpsRequest::userName, user);
  return set(&HttpsRequest::password, password);
}

HttpsRequestBuilder& HttpsRequestBuilder::addAdditionalHeader(const std::string& key,
                                                              const std::string& value) {
  m_request.additionalHeaders[key] = value;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::addIgnoreErrorCheck(const std::function<bool(long)>& check) {
  return set(&HttpsRequest::ignoreErrorCheck, check);
}

HttpsRequestBuilder& HttpsRequestBuilder::mimeBodyData(const std::string& name) {
  m_request.mimeBodyName = name;
  return set(&HttpsRequest::isMultiPart, true);
}

HttpsRequestBuilder& HttpsRequestBuilder::mimeMultiPart(const HttpsRequest::MultiPartData& part) {
  m_request.multiParts.push_back(part);
  return set(&HttpsRequest::isMultiPart, true);
}

HttpsRequestBuilder& HttpsRequestBuilder::sendModelData(
    const std::vector<HttpsRequest::MultiPartData>& parts) {
  m_request.multiParts = parts;
  return set(&HttpsRequest::isMultiPart, true);
}

HttpsRequestBuilder& HttpsRequestBuilder::forbidReuse(bool forbid) {
  return set(&HttpsRequest::forbidReuse, forbid);
}
HttpsRequestBuilder& HttpsRequestBuilder::setExpect(bool expect) {
  return set(&HttpsRequest::setExpect, expect);
}

OdString percentEncode(const OdString& text) {
  if (text.findOneOf(L"\"%*,/:;<=>?\\`|") < 0) return text;
  OdString encoded = text;
  for (const auto& [character, code] : kPercentCodes) encoded.replace(character, code);
  return encoded;
}

OdString percentDecode(const OdString& text) {
  if (text.find(L'%') < 0) return text;
  // "%25" last of all, so that a decoded "%" never starts another code.
  OdString decoded = text;
  for (size_t i = 1; i < std::size(kPercentCodes); ++i)
    decoded.replace(kPercentCodes[i].second, kPercentCodes[i].first);
  decoded.replace(kPercentCodes[0].second, kPercentCodes[0].first);
  return decoded;
}

}  // namespace ut
