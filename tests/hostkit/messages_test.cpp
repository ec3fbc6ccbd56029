// Storage of messages: what is addressed how, what survives what, and what is refused.
#include <gtest/gtest.h>

#include <stdexcept>

#include "host/message_classes.h"

namespace {

using namespace KT5ContentIndexing;

TEST(messages, a_field_is_set_when_it_holds_something) {
    CNMessageBase message(14, 31);
    EXPECT_EQ("", message.getstring(2, 5));
    EXPECT_EQ(0, message.getint64(1));
    EXPECT_EQ("", message.getObjectAccessor(true, false, 3, 3, 1, 1)->getstring(1, 1));
    EXPECT_FALSE(message.isSet(1) || message.isSet(2) || message.isSet(3)) << "reading makes nothing";
    message.setint64(1, 1, 0);
    message.setstring(2, 5, "");
    message.getObjectAccessor(true, true, 3, 3, 1, 1);
    message.getliststring(4, 4, true);
    EXPECT_TRUE(message.isSet(1));
    EXPECT_TRUE(message.isSet(2)) << "an empty text is a value";
    EXPECT_TRUE(message.isSet(3)) << "an empty child is there";
    EXPECT_FALSE(message.isSet(4)) << "a list without elements holds no value";
    message.getliststring(4, 4, true)->push_back("x");
    EXPECT_TRUE(message.isSet(4));
}

TEST(messages, one_field_is_never_two_things) {
    CNMessageBase message(14, 31);
    message.setstring(1, 1, "text");
    EXPECT_THROW(message.getliststring(1, 1, true), std::logic_error);
    EXPECT_THROW(message.getlistobject<Error>(1, 1, false), std::logic_error);
    EXPECT_THROW(message.getObjectAccessor(true, true, 1, 1, 14, 33), std::logic_error);
    message.getlistobject<Error>(2, 2, true);
    EXPECT_THROW(message.getlistobject<CIServer>(2, 2, false), std::logic_error);
    EXPECT_THROW(message.setstring(2, 2, ""), std::logic_error);
    message.getObjectAccessor(true, true, 3, 3, 14, 33);
    EXPECT_THROW(message.getObjectAccessor(true, true, 3, 3, 14, 34), std::logic_error);
    EXPECT_EQ("text", message.getstring(1, 1));
}

}  // namespace
