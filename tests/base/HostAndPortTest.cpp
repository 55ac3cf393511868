#include "base/HostAndPort.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace pis::base {

namespace {

/// What is found wrong with a text, or "" and the place.
std::string faultIn(const std::string& text) {
    try {
        hostAndPortIn(text);
        return "";
    } catch (const std::invalid_argument& fault) {
        return fault.what();
    }
}

TEST(HostAndPort, NamesAndAddressesOfBothKindsAreRead) {
    EXPECT_EQ(hostAndPortIn("box.example:4711"), (HostAndPort{"box.example", 4711}));
    EXPECT_EQ(hostAndPortIn("127.0.0.1:0"), (HostAndPort{"127.0.0.1", 0}));
    EXPECT_EQ(hostAndPortIn("[::1]:65535"), (HostAndPort{"::1", 65535}));
    EXPECT_EQ(hostAndPortIn("signal_box-1:0080"), (HostAndPort{"signal_box-1", 80}));
}

TEST(HostAndPort, WhatIsReadIsWrittenAlike) {
    for (const char* text : {"box.example:4711", "127.0.0.1:0", "[2001:db8::7]:443"}) {
        EXPECT_EQ(textOf(hostAndPortIn(text)), text);
    }
}

TEST(HostAndPort, WhatIsMissingOrWrongIsSaid) {
    EXPECT_EQ(faultIn("box"), "the port is missing");
    EXPECT_EQ(faultIn("box:"), "the port is missing");
    EXPECT_EQ(faultIn("[::1]"), "the port is missing");
    EXPECT_EQ(faultIn(""), "the host is missing");
    EXPECT_EQ(faultIn(":80"), "the host is missing");
    EXPECT_EQ(faultIn("box:99999"), "the port is no number up to 65535");
    EXPECT_EQ(faultIn("box:65536"), "the port is no number up to 65535");
    EXPECT_EQ(faultIn("box:99999999999999999999"), "the port is no number up to 65535");
    for (const char* none :
         {"box:-1", "box:x", "::1:80", "[::1:80", "[box]:80", "me@box:80", "a b:80", "box:80/", "[]:80"}) {
        EXPECT_EQ(faultIn(none), "that is no HOST:PORT") << none;
    }
}

}  // namespace

}  // namespace pis::base
