#include "storage/page_list.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "storage/azurestorage_exception.h"

namespace azurestoragewrapper {
namespace {

[[noreturn]] void refuse(const std::string& why) {
  throw azurestorage_exception(Failure{.message = "the page list cannot be read: " + why, .retryable = true});
}

bool is_blank(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

// A disk's list can hold hundreds of thousands of ranges, each some 60 bytes of text, and is read as fast as it comes:
// this reads the few forms that the list is made of (elements without attributes, numbers, blanks) in one pass and
// without a tree, and refuses everything else.
class Reader {
 public:
  explicit Reader(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

  void skip_blanks() {
    while (at_ != end_ && is_blank(*at_)) ++at_;
  }

  // Takes the text if it stands here.
  bool take(std::string_view text) {
    if (static_cast<std::size_t>(end_ - at_) < text.size() || !std::equal(text.begin(), text.end(), at_)) return false;
    at_ += text.size();
    return true;
  }

  bool take_past_blanks(std::string_view text) {
    if (take(text)) return true;
    skip_blanks();
    return take(text);
  }

  void expect(std::string_view text) {
    if (!take_past_blanks(text)) refuse("\"" + std::string(text) + "\" is missing");
  }

  // The number between the two tags.
  std::uint64_t number(std::string_view opening, std::string_view closing) {
    expect(opening);
    skip_blanks();
    std::uint64_t value = 0;
    const auto [rest, error] = std::from_chars(at_, end_, value);
    if (error != std::errc()) refuse("a place of a range is not a number");
    at_ = rest;
    expect(closing);
    return value;
  }

  std::string text_up_to(std::string_view closing) {
    const std::string_view rest(at_, static_cast<std::size_t>(end_ - at_));
    const std::size_t length = rest.find(closing);
    if (length == std::string_view::npos) refuse("\"" + std::string(closing) + "\" is missing");
    at_ += length + closing.size();
    return std::string(rest.substr(0, length));
  }

  bool at_end() {
    skip_blanks();
    return at_ == end_;
  }

 private:
  const char* at_;
  const char* end_;
};

PageRange read_range(Reader& reader, std::string_view closing) {
  const std::uint64_t start = reader.number("<Start>", "</Start>");
  const std::uint64_t end = reader.number("<End>", "</End>");  // the last byte
  reader.expect(closing);
  if (end < start || end == std::numeric_limits<std::uint64_t>::max()) refuse("a range ends before it begins");
  return {start, end - start + 1};
}

}  // namespace

std::string parse_page_list(std::string_view xml, std::vector<PageRange>& ranges) {
  Reader reader(xml);
  std::string marker;
  reader.take("\xEF\xBB\xBF");  // a byte order mark
  if (reader.take_past_blanks("<?xml")) reader.text_up_to("?>");
  if (reader.take_past_blanks("<PageList/>") || reader.take_past_blanks("<PageList />")) {
    if (!reader.at_end()) refuse("something stands behind it");
    return marker;
  }
  reader.expect("<PageList>");
  while (!reader.take_past_blanks("</PageList>")) {
    if (reader.take("<PageRange>")) {
      ranges.push_back(read_range(reader, "</PageRange>"));
    } else if (reader.take("<ClearRange>")) {
      static_cast<void>(read_range(reader, "</ClearRange>"));
    } else if (reader.take("<NextMarker>")) {
      marker = reader.text_up_to("</NextMarker>");
    } else if (!reader.take("<NextMarker/>") && !reader.take("<NextMarker />")) {
      refuse("something else than a range stands in it");
    }
  }
  if (!reader.at_end()) refuse("something stands behind it");
  return marker;
}

void normalise(std::vector<PageRange>& ranges, std::uint64_t blob_size) {
  const auto by_offset = [](const PageRange& a, const PageRange& b) { return a.offset < b.offset; };
  if (!std::is_sorted(ranges.begin(), ranges.end(), by_offset)) std::sort(ranges.begin(), ranges.end(), by_offset);
  std::size_t kept = 0;
  for (const PageRange& range : ranges) {
    const std::uint64_t end = std::min(range.offset + range.length, blob_size);
    if (end <= range.offset) continue;
    if (kept > 0 && ranges[kept - 1].offset + ranges[kept - 1].length >= range.offset) {
      PageRange& last = ranges[kept - 1];
      last.length = std::max(last.offset + last.length, end) - last.offset;
    } else {
      ranges[kept++] = {range.offset, end - range.offset};
    }
  }
  ranges.resize(kept);
}

}  // namespace azurestoragewrapper
