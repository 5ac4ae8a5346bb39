#include "host/discover_findings.h"

#include <aapi/aapi.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "host/plugin_line.h"
#include "host/printable.h"
#include "host/status_text.h"

namespace host {

namespace {

constexpr std::string_view machine_mark = "VM ";
constexpr std::string_view reason_mark = " is not protected: ";
constexpr std::string_view count_mark = "Total VMs scanned: ";
constexpr std::string_view group_mark = "Failed to fetch all VMs in RG ";
constexpr std::string_view group_status_mark = ". retval ";
constexpr std::string_view nameless_group_mark = "A resource group is listed without a name";
constexpr std::string_view further_page_mark = "Next Page Exists at ";
constexpr std::string_view no_list_mark = "The answer holds no list";
constexpr std::string_view no_snapshot_mark = "Snapshot creation fatally failed for VM : ";
constexpr std::string_view odd_list_mark = "A part of the list cannot be read";
constexpr std::string_view size_mark = "Disk of ";
constexpr std::string_view size_end_mark = " GB: ";
constexpr std::string_view folder_mark = "Failed to create directory ";
constexpr std::string_view forbidden_mark = "header: HTTP/1.1 403";
constexpr std::string_view api_error_mark = "Error calling AzureStack API (";
constexpr std::string_view machine_list_function = "ParseALLVMResponse";
constexpr std::string_view group_list_function = "ParseResourceGroups";
constexpr std::string_view scan_function = "run_scanner";
constexpr std::uint32_t status_not_found = 6630;
constexpr std::uint32_t status_no_parameter = 6661;
constexpr std::uint32_t status_no_store = 6662;
constexpr std::uint32_t status_no_subscription = 6610;
constexpr std::uint32_t status_selection = 6795;
constexpr std::size_t longest_quote = 300;

std::optional<std::uint64_t> number_at(std::string_view text) {
  std::uint64_t number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  return parsed.ec == std::errc{} ? std::optional(number) : std::nullopt;
}

std::optional<LeftOut> left_out_machine(std::string_view text) {
  const std::size_t reason = text.find(reason_mark);
  if (!starts_with(text, machine_mark) || reason == std::string_view::npos) return std::nullopt;
  return LeftOut{std::string(text.substr(machine_mark.size(), reason - machine_mark.size())),
                 std::string(text.substr(reason + reason_mark.size()))};
}

LeftOut unlisted_group(std::string_view text) {
  const std::string_view rest = text.substr(group_mark.size());
  const std::size_t end = rest.rfind(group_status_mark);
  LeftOut group{"resource group ", "its machines cannot be listed"};
  group.what += rest.substr(0, end);
  if (end == std::string_view::npos) return group;
  const auto status = number_at(rest.substr(end + group_status_mark.size()));
  if (status) group.why += ": " + status_text(static_cast<std::uint32_t>(*status));
  return group;
}

std::optional<LeftOut> unlisted(const LineParts& line) {
  if (starts_with(line.text, group_mark)) return unlisted_group(line.text);
  if (line.function != machine_list_function && line.function != group_list_function) return std::nullopt;
  if (starts_with(line.text, nameless_group_mark)) return LeftOut{"a resource group without a name", "it is listed so"};
  const char* list = line.function == machine_list_function ? "machines of a resource group" : "resource groups";
  if (starts_with(line.text, no_list_mark)) return LeftOut{list, "the answer holds no list"};
  if (starts_with(line.text, odd_list_mark)) return LeftOut{list, "a part of the answer cannot be read"};
  if (starts_with(line.text, further_page_mark)) {
    LeftOut pages{list, "the list goes on after its first page, which is all that the plug-in reads: "};
    pages.why += line.text.substr(further_page_mark.size(), line.text.find('?') - further_page_mark.size());
    return pages;
  }
  return std::nullopt;
}

// The size of a disk by its path: "Disk of 30 GB: PATH".
std::optional<std::pair<std::string, std::uint64_t>> disk_size(std::string_view text) {
  const std::size_t end = text.find(size_end_mark);
  if (!starts_with(text, size_mark) || end == std::string_view::npos) return std::nullopt;
  const auto gigabytes = number_at(text.substr(size_mark.size()));
  if (!gigabytes) return std::nullopt;
  return std::pair(std::string(text.substr(end + size_end_mark.size())), *gigabytes);
}

void add_once(std::vector<LeftOut>& list, LeftOut entry) {
  const bool known = std::any_of(list.begin(), list.end(), [&](const LeftOut& e) { return e.what == entry.what; });
  if (!known) list.push_back(std::move(entry));
}

// What the server said, when an answer that is an error is what the plug-in left something out for: it is then among
// the last two things that it reported.
std::string answer_behind(const std::vector<std::string>& errors) {
  const std::size_t first = errors.size() - std::min<std::size_t>(errors.size(), 2);
  const bool answered = std::any_of(errors.begin() + static_cast<std::ptrdiff_t>(first), errors.end(),
                                    [](const auto& e) { return starts_with(take_apart(e).text, api_error_mark); });
  return answered ? quoted_answer(errors) : std::string();
}

bool any_with(const std::vector<std::string>& lines, std::string_view mark) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const auto& line) { return starts_with(take_apart(line).text, mark); });
}

Finding not_found(const std::vector<std::string>& lines) {
  return {Stage::azure_stack, ExitCode::failed,
          "a selected subscription or resource group is not there" + quoted_answer(lines),
          "Check the subscription's id, the group's name, and that the login has a role in that subscription."};
}

Finding forbidden(const std::vector<std::string>& lines) {
  return {Stage::azure_stack, ExitCode::failed, "the login may not read what is selected" + quoted_answer(lines),
          "Give the login's service principal or user a role (such as Contributor) in the subscription."};
}

Finding no_folder(const std::vector<std::string>& lines) {
  std::string what = "the plug-in cannot use the folder for the workload files";
  for (const std::string& line : lines) {
    const std::string_view text = take_apart(line).text;
    if (starts_with(text, folder_mark))
      what.append(" ").append(printable(text.substr(folder_mark.size()), longest_quote));
  }
  return {Stage::azure_stack, ExitCode::failed, what,
          "Name a folder with a shorter path where you may write: --keep, or TMPDIR for the temporary one."};
}

Finding incomplete_store(const std::vector<std::string>& lines) {
  const std::string missing = missing_values(lines);
  return {Stage::login, ExitCode::login,
          missing.empty() ? "the credentials store lacks a value" : "the credentials store lacks " + missing,
          "Complete the store, and give it with --credentials FILE."};
}

}  // namespace

DiscoveryFindings read_discovery_findings(const std::vector<LogLine>& lines) {
  DiscoveryFindings findings;
  std::vector<std::string> errors;  // since the last thing that was left out, or since the machines were counted
  for (const LogLine& line : lines) {
    const LineParts parts = take_apart(line.text);
    const bool error = line.level >= AAPI_LOG_ERROR;
    if (auto machine = left_out_machine(parts.text)) {
      machine->why += answer_behind(errors);
      add_once(error ? findings.refused : findings.filtered, std::move(*machine));
      errors.clear();
    } else if (parts.function == scan_function && starts_with(parts.text, count_mark)) {
      findings.written = number_at(parts.text.substr(count_mark.size()));
      errors.clear();
    } else if (starts_with(parts.text, no_snapshot_mark)) {  // all of these come at the end
      findings.unsnapshotted.push_back({std::string(parts.text.substr(no_snapshot_mark.size())),
                                        "its snapshots could not be taken" + quoted_answer(errors)});
      findings.snapshots_forbidden = is_forbidden(errors);
    } else if (auto size = disk_size(parts.text)) {
      findings.disk_sizes.insert(std::move(*size));
    } else if (!error) {
      continue;
    } else if (auto list = unlisted(parts)) {
      list->why += answer_behind(errors);
      findings.unlisted.push_back(std::move(*list));
      errors.clear();
    } else {
      if (parts.function == scan_function) findings.last_scan_error = printable(parts.text, longest_quote);
      errors.push_back(line.text);
    }
  }
  return findings;
}

bool is_discovery_evidence(std::string_view line) {
  const std::string_view text = take_apart(line).text;
  return is_evidence(line) || left_out_machine(text).has_value() || starts_with(text, count_mark) ||
         starts_with(text, folder_mark) || starts_with(text, size_mark);
}

Finding judge_discovery(std::uint32_t status, const std::vector<std::string>& lines, std::string_view server) {
  if (any_with(lines, folder_mark)) return no_folder(lines);
  switch (status) {
    case status_no_parameter:
    case status_no_store:
      return incomplete_store(lines);
    case status_no_subscription:
    case status_selection:
      return {Stage::azure_stack, ExitCode::usage, status_text(status), status_advice(status)};
    case status_not_found:
      if (any_with(lines, api_error_mark)) return not_found(lines);
      break;
    default:
      if (any_with(lines, forbidden_mark)) return forbidden(lines);
  }
  return judge_query(status, lines, server);
}

}  // namespace host
