// The SOAP layer's refusals and the timeout durations clients send.
#include "onvif/soap.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/onvif/fake_controller.h"

namespace ptz::onvif {
namespace {

TEST(Soap, RefusesWhatIsNotAPlainEnvelope) {
    const std::string op = "<GetNodes xmlns=\"http://www.onvif.org/ver20/ptz/wsdl\"/>";
    const std::pair<std::string, SoapError> rows[] = {
        {envelope(op), SoapError::none},
        {"<?xml version=\"1.0\"?>" + envelope(op, "", kNsSoap11), SoapError::none},
        {"<!DOCTYPE s:Envelope>" + envelope(op), SoapError::doctype},
        {"<!DOCTYPE x [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;\">]>" +
             envelope("<GetNode>&b;</GetNode>"),
         SoapError::doctype},
        {"<!DOCTYPE x [<!ENTITY e SYSTEM \"file:///etc/passwd\">]>" + envelope("<GetNode>&e;</GetNode>"),
         SoapError::doctype},
        {"<!DOCTYPE x [<!ENTITY e \"unterminated", SoapError::doctype},
        {envelope(op).substr(0, 40), SoapError::malformed},
        {"", SoapError::malformed},
        {"<a><b></a>", SoapError::malformed},
        {"<Envelope xmlns=\"urn:other\"><Body><x/></Body></Envelope>", SoapError::not_soap},
        {envelope(""), SoapError::not_soap},
    };
    // (A prefixed operation found by its namespace is what every request of the node test is.)
    for (const auto& [text, want] : rows) {
        SoapRequest req;
        EXPECT_EQ(parse_soap(text, req), want) << text;
    }
}

TEST(Soap, UndeclaredEntitiesStayText) {
    SoapRequest req;
    ASSERT_EQ(parse_soap(envelope("<GetNode>&lt;&amp;&unknown;</GetNode>"), req), SoapError::none);
    EXPECT_STREQ(req.op.child_value(), "<&&unknown;");
}

TEST(Soap, Durations) {
    const std::tuple<const char*, bool, int64_t> rows[] = {
        {"PT5S", true, 5000},       {"PT0.5S", true, 500},  {" PT1M30S ", true, 90000},
        {"P1DT1H", true, 90000000}, {"PT0.0005S", true, 1}, {"PT2H", true, 7200000},
        {"5S", false, 0},           {"PT", false, 0},       {"P", false, 0},
        {"-PT5S", false, 0},        {"PT5", false, 0},      {"PTS", false, 0},
        {"PT5S5M", false, 0},       {"PT1.5M", false, 0},   {"P99999999999D", false, 0},
        {"PT5SX", false, 0},        {"PT5S5S", false, 0},   {"P1TD", false, 0},
    };
    for (const auto& [text, ok, want] : rows) {
        int64_t ms = -1;
        EXPECT_EQ(parse_duration(text, ms), ok) << text;
        EXPECT_EQ(ms, ok ? want : -1) << text;
    }
}

}  // namespace
}  // namespace ptz::onvif
