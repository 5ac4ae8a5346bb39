#include "storage/page_list.h"

#include <gtest/gtest.h>

#include "storage/azurestorage_exception.h"

namespace azurestoragewrapper {
namespace {

constexpr const char* kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>";

std::string range(std::uint64_t start, std::uint64_t end) {
  return "<PageRange><Start>" + std::to_string(start) + "</Start><End>" + std::to_string(end) + "</End></PageRange>";
}

std::vector<PageRange> ranges_of(const std::string& xml, std::uint64_t blob_size = 1U << 20U) {
  std::vector<PageRange> ranges;
  EXPECT_EQ(parse_page_list(xml, ranges), "");
  normalise(ranges, blob_size);
  return ranges;
}

TEST(PageList, FormsOfOneList) {
  const std::vector<PageRange> expected = {{0, 1024}, {4096, 512}};
  const std::string both = range(0, 1023) + range(4096, 4607);
  EXPECT_EQ(ranges_of(kHead + ("<PageList>" + both + "</PageList>")), expected);
  EXPECT_EQ(ranges_of("\xEF\xBB\xBF" + (kHead + ("\n<PageList>" + both + "<NextMarker/></PageList>\n"))), expected);
  EXPECT_EQ(ranges_of("<PageList>\r\n  <PageRange>\r\n <Start> 0 </Start>\t<End>1023</End> </PageRange>" +
                      range(4096, 4607) + "</PageList>"),
            expected);
  EXPECT_EQ(ranges_of("<PageList>" + range(0, 1023) + "<ClearRange><Start>1024</Start><End>4095</End></ClearRange>" +
                      range(4096, 4607) + "</PageList>"),
            expected);
  EXPECT_TRUE(ranges_of(kHead + std::string("<PageList/>")).empty());
  EXPECT_TRUE(ranges_of(kHead + std::string("<PageList>\n</PageList>")).empty());
}

TEST(PageList, WhatTheServiceListsOddlyIsPutInOrder) {
  const auto list = [](const std::string& inside) { return ranges_of("<PageList>" + inside + "</PageList>", 8192); };
  using Ranges = std::vector<PageRange>;
  EXPECT_EQ(list(range(512, 1023) + range(0, 511) + range(1024, 1535)), (Ranges{{0, 1536}}));   // touching, unsorted
  EXPECT_EQ(list(range(0, 4095) + range(512, 1023) + range(2048, 5119)), (Ranges{{0, 5120}}));  // overlapping
  EXPECT_EQ(list(range(4096, 9999999)), (Ranges{{4096, 4096}}));                                // past the end
  EXPECT_TRUE(list(range(8192, 8703) + range(18446744073709551000U, 18446744073709551614U)).empty());  // behind it
}

TEST(PageList, WhatIsNoListIsRefused) {
  std::vector<PageRange> ranges;
  const std::string whole = kHead + ("<PageList>" + range(0, 511) + "<NextMarker>x</NextMarker></PageList>");
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_THROW(parse_page_list(whole.substr(0, length), ranges), azurestorage_exception) << whole.substr(0, length);
  }
  EXPECT_EQ(parse_page_list(whole, ranges), "x");
  for (const std::string& inside :
       {range(512, 511), range(1024, 0), std::string("<Start>0</Start>"), std::string("text"),
        std::string("<PageRange><Start>-1</Start><End>511</End></PageRange>"),
        std::string("<PageRange><Start>0</Start><End>18446744073709551616</End></PageRange>"),
        std::string("<PageRange><Start>0</Start><End>18446744073709551615</End></PageRange>")}) {
    EXPECT_THROW(parse_page_list("<PageList>" + inside + "</PageList>", ranges), azurestorage_exception) << inside;
  }
  EXPECT_THROW(parse_page_list("<html>busy</html>", ranges), azurestorage_exception);
  EXPECT_THROW(parse_page_list("<PageList/>more", ranges), azurestorage_exception);
}

}  // namespace
}  // namespace azurestoragewrapper
