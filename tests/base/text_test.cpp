#include "src/base/text.h"

#include <gmock/gmock.h>

#include "tests/support/log_transcript.h"

namespace {

using azurestackpi::SplitText;
using testing::ElementsAre;

TEST(Split, EmptyFieldsCountButForTheLast) {
  EXPECT_THAT(SplitText(".a..b", '.'), ElementsAre("", "a", "", "b"));
  EXPECT_THAT(SplitText("a.b.", '.'), ElementsAre("a", "b"));
  EXPECT_THAT(SplitText("a..", '.'), ElementsAre("a", ""));
  EXPECT_THAT(SplitText("..", '.'), ElementsAre("", ""));
  EXPECT_THAT(SplitText("ab", '.'), ElementsAre("ab"));
  EXPECT_TRUE(SplitText("", '.').empty());
}

TEST(Trim, TakesASetOfCharactersAway) {
  EXPECT_TRUE(azurestackpi::IsEmptyString(""));
  EXPECT_TRUE(azurestackpi::IsEmptyString("   "));
  EXPECT_FALSE(azurestackpi::IsEmptyString("\t"));
  EXPECT_FALSE(azurestackpi::IsEmptyString("  a"));
  EXPECT_EQ(azurestackpi::ltrim("-+a-", "+-"), "a-");
  EXPECT_EQ(azurestackpi::rtrim("-a-+", "+-"), "-a");
  EXPECT_EQ(azurestackpi::trimSpace("-+a b+-", "+-"), "a b");
  for (const auto trim : {azurestackpi::ltrim, azurestackpi::rtrim, azurestackpi::trimSpace}) {
    EXPECT_EQ(trim("+-+", "+-"), "");
    EXPECT_EQ(trim("", "+-"), "");
    EXPECT_EQ(trim(" a ", ""), " a ");
  }
}

struct TrimCase {
  std::string text;
  std::size_t size;
  std::string trimmed;
};

TEST(Trim, InPlaceBlanksThenQuotesThenBlanksAtTheEnd) {
  const std::vector<TrimCase> cases = {
      {"  \"\"abc\"  ", 100, "abc\""}, {"\" abc", 100, " abc"},     {"\"\"", 100, ""}, {"   ", 100, ""}, {"", 100, ""},
      {"  abcdef", 4, "abc"},          {"\tabc\t", 100, "\tabc\t"}, {"abc", 1, ""},
  };
  for (const TrimCase& given : cases) {
    std::string text = given.text;
    text.resize(100);
    azurestackpi::TrimString(text.data(), given.size);
    EXPECT_EQ(text.c_str(), given.trimmed) << given.text;
  }
  char untouched = 'x';
  azurestackpi::TrimString(&untouched, 0);
  EXPECT_EQ(untouched, 'x');
  azurestackpi::TrimString(nullptr, 1);
}

TEST(Text, ReplaceReturnsTheEnd) {
  std::string text = "a-b--";
  EXPECT_EQ(azurestackpi::StringReplace(text.data(), '-', '+'), text.data() + 5);
  EXPECT_EQ(text, "a+b++");
  std::string empty;
  EXPECT_EQ(azurestackpi::StringReplace(empty.data(), '-', '+'), nullptr);
  EXPECT_EQ(azurestackpi::StringReplace(nullptr, '-', '+'), nullptr);
}

TEST(Text, SearchKnowsWholeWordsOnly) {
  for (const char* word : {"one", "two", "three"}) {
    EXPECT_TRUE(azurestackpi::StringSearch(word, "one  two three")) << word;
  }
  for (const char* word : {"", "on", "ne", "One", "one two", " "}) {
    EXPECT_FALSE(azurestackpi::StringSearch(word, " one  two three ")) << word;
  }
  EXPECT_FALSE(azurestackpi::StringSearch("one", ""));
}

TEST(Text, YesIsEveryBeginningOfTrue) {
  for (const char* yes : {"", "t", "T", "tr", "tRu", "true", "TRUE"}) {
    EXPECT_TRUE(azurestackpi::IsYes(yes)) << yes;
  }
  for (const char* no : {"truex", "true ", " true", "rue", "false", "yes", "1"}) {
    EXPECT_FALSE(azurestackpi::IsYes(no)) << no;
  }
}

struct PathCase {
  std::string path;
  std::string key;
  std::string token;  // "before" when there is none
};

TEST(PathToken, IsTheNameBehindItsKey) {
  test_support::LogTranscript log;
  const std::vector<PathCase> cases = {
      {"/subscriptions/S/resourceGroups/RG-1/providers/x", "resourcegroups/", "RG-1"},
      {"/subscriptions/S/RESOURCEGROUPS/RG-1/providers/x", "resourceGroups/", "RG-1"},
      {"/subscriptions/S/resourceGroups//x", "resourceGroups/", ""},
      {"/subscriptions/S/resourceGroups/RG-1", "resourceGroups/", "before"},
      {"/subscriptions/S/", "resourceGroups/", "before"},
      {"", "resourceGroups/", "before"},
      {"S/x", "", "S"},
  };
  for (const PathCase& given : cases) {
    log.clear();
    std::string token = "before";
    azurestackpi::getNextPathToken(given.path, given.key, token);
    EXPECT_EQ(token, given.token) << given.path;
    const std::string line = "4 getNextPathToken: Failed to get next path token. Path is " + given.path +
                             ", searchkey is " + given.key + " \n\n";
    EXPECT_EQ(log.text(), given.token == "before" ? line : "");
  }
}

TEST(PathToken, SubscriptionIsTheFirstName) {
  test_support::LogTranscript log;
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"/S-1/group/vm", "S-1"}, {"/S-1/", "S-1"}, {"/S-1", "S-1"}, {"/S/x", "S"}, {"//x/y", "/x"}};
  for (const auto& [path, expected] : cases) {
    std::string subscription;
    EXPECT_EQ(azurestackpi::extractSubIdFromPath(path, subscription), 0u) << path;
    EXPECT_EQ(subscription, expected) << path;
  }
  EXPECT_EQ(log.text(), "");
  for (const char* path : {"", "/"}) {
    std::string subscription = "before";
    EXPECT_EQ(azurestackpi::extractSubIdFromPath(path, subscription), 6601u);
    EXPECT_EQ(subscription, "before");
    EXPECT_TRUE(log.contains(4, std::string("Failed to extract subscription id from path ") + path));
  }
}

}  // namespace
