#include "src/rest/json_text.h"

#include <gtest/gtest.h>

namespace {

using azurestackpi::JsonPtr;
using azurestackpi::Status;

JsonPtr Parse(const std::string& text) {
  json_error_t error{};
  return azurestackpi::ParseJson(text, error);
}

TEST(JsonText, MembersOfTheRightTypeOrNone) {
  const JsonPtr object = Parse(R"({"number":-5,"text":"a\u00e9","real":5.0,"null":null,"digits":"5","list":[1]})");
  json_int_t number = 7;
  std::string text = "before";
  EXPECT_EQ(azurestackpi::getJsonIntValue(object.get(), "number", number), 0u);
  EXPECT_EQ(number, -5);
  EXPECT_EQ(azurestackpi::getJsonStringValue(object.get(), "text", text), 0u);
  EXPECT_EQ(text, "a\xc3\xa9");
  for (const char* key : {"text", "real", "null", "digits", "list"}) {
    EXPECT_EQ(azurestackpi::getJsonIntValue(object.get(), key, number), 6622u) << key;
    EXPECT_EQ(number, -5);
  }
  text = "before";
  for (const char* key : {"number", "real", "null", "list"}) {
    EXPECT_EQ(azurestackpi::getJsonStringValue(object.get(), key, text), 6622u) << key;
    EXPECT_EQ(text, "before");
    EXPECT_EQ(azurestackpi::JsonStringOrEmpty(object.get(), key), "");
  }
}

// A member that is not there, and things that have no members.
TEST(JsonText, AbsentReadsAsZeroAndEmpty) {
  const JsonPtr object = Parse("{}");
  const JsonPtr list = Parse("[1]");
  for (const json_t* value : {static_cast<const json_t*>(object.get()), static_cast<const json_t*>(list.get()),
                              static_cast<const json_t*>(nullptr)}) {
    json_int_t number = 7;
    std::string text = "before";
    EXPECT_EQ(azurestackpi::getJsonIntValue(value, "key", number), 0u);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(azurestackpi::getJsonStringValue(value, "key", text), 0u);
    EXPECT_EQ(text, "");
  }
}

TEST(JsonText, OnlyAWholeTextIsJson) {
  const std::string deep(100'000, '[');
  for (const std::string& text : {std::string(), std::string("{"), std::string("{\"a\":1"), std::string("{} x"),
                                  std::string("<html/>"), std::string("{\"a\":\"\xff\"}"), deep}) {
    json_error_t error{};
    EXPECT_EQ(azurestackpi::ParseJson(text, error), nullptr) << text.substr(0, 20);
    EXPECT_STRNE(error.text, "");
  }
  EXPECT_NE(Parse(" {} \r\n"), nullptr);
}

}  // namespace
