#include "onvif/soap.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <sstream>

namespace ptz::onvif {

namespace {

std::string_view prefix_of(const char* name) {
    const char* colon = std::strchr(name, ':');
    return colon ? std::string_view(name, colon - name) : std::string_view();
}

}  // namespace

std::string_view trim(std::string_view s) {
    const char* ws = " \t\r\n";
    size_t b = s.find_first_not_of(ws);
    if (b == std::string_view::npos) return {};
    return s.substr(b, s.find_last_not_of(ws) - b + 1);
}

std::string_view local_name(pugi::xml_node n) {
    const char* name = n.name();
    const char* colon = std::strchr(name, ':');
    return colon ? std::string_view(colon + 1) : std::string_view(name);
}

std::string namespace_of(pugi::xml_node n) {
    std::string_view prefix = prefix_of(n.name());
    std::string attr = prefix.empty() ? std::string("xmlns") : "xmlns:" + std::string(prefix);
    for (pugi::xml_node p = n; p && p.type() == pugi::node_element; p = p.parent()) {
        if (pugi::xml_attribute a = p.attribute(attr.c_str())) return a.value();
    }
    return {};
}

pugi::xml_node child(pugi::xml_node n, std::string_view local) {
    for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) {
        if (c.type() == pugi::node_element && local_name(c) == local) return c;
    }
    return {};
}

std::string child_text(pugi::xml_node n, std::string_view local) {
    return std::string(trim(child(n, local).child_value()));
}

SoapError parse_soap(std::string_view text, SoapRequest& out) {
    // parse_doctype keeps a declaration as a node instead of skipping it,
    // so that it can be refused; without parse_pi processing instructions
    // are dropped unread.
    unsigned opts = pugi::parse_default | pugi::parse_doctype;
    pugi::xml_parse_result r = out.doc.load_buffer(text.data(), text.size(), opts, pugi::encoding_utf8);
    for (pugi::xml_node n = out.doc.first_child(); n; n = n.next_sibling()) {
        if (n.type() == pugi::node_doctype) return SoapError::doctype;
    }
    if (!r) {
        // A declaration the parser stopped at is still a declaration.
        if (r.status == pugi::status_bad_doctype) return SoapError::doctype;
        return SoapError::malformed;
    }
    pugi::xml_node env = out.doc.document_element();
    if (local_name(env) != "Envelope") return SoapError::not_soap;
    std::string ns = namespace_of(env);
    if (ns == kNsSoap11) {
        out.soap11 = true;
    } else if (ns != kNsSoap12) {
        return SoapError::not_soap;
    }
    out.header = child(env, "Header");
    pugi::xml_node body = child(env, "Body");
    if (!body) return SoapError::not_soap;
    for (pugi::xml_node c = body.first_child(); c; c = c.next_sibling()) {
        if (c.type() == pugi::node_element) {
            out.op = c;
            break;
        }
    }
    if (!out.op) return SoapError::not_soap;
    out.op_name = local_name(out.op);
    out.op_ns = namespace_of(out.op);
    return SoapError::none;
}

bool parse_double(std::string_view s, double& out) {
    s = trim(s);
    if (!s.empty() && s[0] == '+') s.remove_prefix(1);
    if (s.empty()) return false;
    double v = 0;
    auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
    if (ec != std::errc() || end != s.data() + s.size() || !std::isfinite(v)) return false;
    out = v;
    return true;
}

bool parse_duration(std::string_view s, int64_t& ms) {
    s = trim(s);
    if (s.size() < 3 || s[0] != 'P') return false;
    // Longer than any timeout makes sense for; keeps the sums far from overflow.
    constexpr double kMaxMs = 1e12;
    double total = 0;
    bool time_part = false, any = false;
    size_t i = 1;
    // Each designator may appear once, in this order.
    const char* order_date = "YMD";
    const char* order_time = "HMS";
    int next_date = 0, next_time = 0;
    while (i < s.size()) {
        if (s[i] == 'T') {
            if (time_part) return false;
            time_part = true;
            ++i;
            if (i == s.size()) return false;
            continue;
        }
        size_t start = i;
        while (i < s.size() && (std::isdigit(static_cast<unsigned char>(s[i])) || s[i] == '.')) ++i;
        if (i == start || i == s.size()) return false;
        std::string_view num = s.substr(start, i - start);
        char unit = s[i++];
        bool frac = num.find('.') != std::string_view::npos;
        double v = 0;
        auto [end, ec] = std::from_chars(num.data(), num.data() + num.size(), v);
        if (ec != std::errc() || end != num.data() + num.size()) return false;
        double scale = 0;
        if (!time_part) {
            const char* p = std::strchr(order_date + next_date, unit);
            if (!p || frac) return false;
            next_date = static_cast<int>(p - order_date) + 1;
            scale = unit == 'Y' ? 365 * 86400e3 : unit == 'M' ? 30 * 86400e3 : 86400e3;
        } else {
            const char* p = std::strchr(order_time + next_time, unit);
            if (!p || (frac && unit != 'S')) return false;
            next_time = static_cast<int>(p - order_time) + 1;
            scale = unit == 'H' ? 3600e3 : unit == 'M' ? 60e3 : 1e3;
        }
        total += v * scale;
        if (total > kMaxMs) return false;
        any = true;
    }
    if (!any) return false;
    ms = static_cast<int64_t>(std::llround(total));
    return true;
}

SoapReply::SoapReply(bool soap11) : soap11_(soap11) {
    pugi::xml_node decl = doc_.append_child(pugi::node_declaration);
    decl.append_attribute("version") = "1.0";
    decl.append_attribute("encoding") = "UTF-8";
    pugi::xml_node env = doc_.append_child("s:Envelope");
    env.append_attribute("xmlns:s") = soap11 ? kNsSoap11 : kNsSoap12;
    env.append_attribute("xmlns:tds") = kNsDevice;
    env.append_attribute("xmlns:trt") = kNsMedia;
    env.append_attribute("xmlns:tptz") = kNsPtz;
    env.append_attribute("xmlns:tt") = kNsSchema;
    env.append_attribute("xmlns:ter") = kNsError;
    body_ = env.append_child("s:Body");
}

pugi::xml_node SoapReply::add(const char* qname) { return body_.append_child(qname); }

void SoapReply::fault(const char* code, const char* sub1, const char* sub2, const std::string& reason) {
    pugi::xml_node f = body_.append_child("s:Fault");
    if (soap11_) {
        // SOAP 1.1 knows only "Client" and "Server"; the ONVIF subcode goes
        // in faultcode's place where there is one.
        std::string fc = std::string("s:") + (std::strcmp(code, "Sender") == 0 ? "Client" : "Server");
        add_text(f, "faultcode", sub2 ? sub2 : sub1 ? sub1 : fc.c_str());
        add_text(f, "faultstring", reason);
        return;
    }
    pugi::xml_node c = f.append_child("s:Code");
    add_text(c, "s:Value", std::string("s:") + code);
    if (sub1) {
        pugi::xml_node s1 = c.append_child("s:Subcode");
        add_text(s1, "s:Value", sub1);
        if (sub2) add_text(s1.append_child("s:Subcode"), "s:Value", sub2);
    }
    pugi::xml_node t = add_text(f.append_child("s:Reason"), "s:Text", reason);
    t.append_attribute("xml:lang") = "en";
}

std::string SoapReply::str() const {
    std::ostringstream os;
    doc_.save(os, "", pugi::format_raw, pugi::encoding_utf8);
    return os.str();
}

pugi::xml_node add_text(pugi::xml_node n, const char* qname, std::string_view text) {
    pugi::xml_node c = n.append_child(qname);
    c.text().set(std::string(text).c_str());
    return c;
}

}  // namespace ptz::onvif
