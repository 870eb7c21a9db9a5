// SOAP envelopes in and out, on pugixml. Requests with a document type
// declaration are refused before anything looks at them, so no entity of a
// client's making is ever expanded; pugixml itself expands only XML's five
// predefined entities and character references.
#pragma once

#include <cstdint>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace ptz::onvif {

inline constexpr const char* kNsSoap12 = "http://www.w3.org/2003/05/soap-envelope";
inline constexpr const char* kNsSoap11 = "http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr const char* kNsDevice = "http://www.onvif.org/ver10/device/wsdl";
inline constexpr const char* kNsMedia = "http://www.onvif.org/ver10/media/wsdl";
inline constexpr const char* kNsPtz = "http://www.onvif.org/ver20/ptz/wsdl";
inline constexpr const char* kNsSchema = "http://www.onvif.org/ver10/schema";
inline constexpr const char* kNsError = "http://www.onvif.org/ver10/error";
inline constexpr const char* kNsWsse =
    "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd";
inline constexpr const char* kNsWsu =
    "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd";

enum class SoapError { none, malformed, doctype, not_soap };

// A parsed request: the envelope's Header (may be empty), and the first
// element of its Body, the operation.
struct SoapRequest {
    pugi::xml_document doc;
    bool soap11 = false;
    pugi::xml_node header;
    pugi::xml_node op;
    std::string op_ns;
    std::string_view op_name;
};

SoapError parse_soap(std::string_view text, SoapRequest& out);

// The part of an element name after its prefix.
std::string_view local_name(pugi::xml_node n);
// The namespace URI of an element, from the xmlns declarations in scope.
std::string namespace_of(pugi::xml_node n);
// The first child element with that local name (any namespace), or null.
pugi::xml_node child(pugi::xml_node n, std::string_view local);
// s without the white space at either end.
std::string_view trim(std::string_view s);
// The text of child(n, local), trimmed of white space.
std::string child_text(pugi::xml_node n, std::string_view local);

// xs:duration, as ONVIF timeouts use it (PT5S, PT0.5S, PT1M30S, P1DT2H):
// false for anything else, negative values and overflow included.
bool parse_duration(std::string_view s, int64_t& ms);
// xs:double in a simple form: false for junk, NaN or infinities.
bool parse_double(std::string_view s, double& out);

// An answer or a fault, always a complete envelope in the request's SOAP
// version with the prefixes the answers use declared on it.
class SoapReply {
public:
    explicit SoapReply(bool soap11);
    // The body's first element, e.g. add("tptz:GetStatusResponse").
    pugi::xml_node add(const char* qname);
    // code: "Sender" or "Receiver"; subcodes with their prefix ("ter:...").
    void fault(const char* code, const char* sub1, const char* sub2, const std::string& reason);
    std::string str() const;

private:
    bool soap11_;
    pugi::xml_document doc_;
    pugi::xml_node body_;
};

// Appends <qname>text</qname> to n and returns the new element.
pugi::xml_node add_text(pugi::xml_node n, const char* qname, std::string_view text);

}  // namespace ptz::onvif
