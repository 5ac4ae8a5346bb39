#include "host/protection_page.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>

#include "host/byte_text.h"
#include "host/printable.h"
#include "host/protection_style.h"

namespace host {

namespace {

constexpr std::size_t strip_parts = 360;
constexpr int shades = 4;  // between no data and all data

// ---- Words ----------------------------------------------------------------------------------------------------------

std::string counted(std::size_t number, const char* what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

// "2 h ago": as exact as somebody needs who looks at it.
std::string age_text(std::int64_t seconds) {
  constexpr std::int64_t minute = 60;
  constexpr std::int64_t hour = 60 * minute;
  constexpr std::int64_t day = 24 * hour;
  if (seconds < 2 * minute) return "just now";
  if (seconds < 2 * hour) return std::to_string(seconds / minute) + " min ago";
  if (seconds < 2 * day) return std::to_string(seconds / hour) + " h ago";
  return std::to_string(seconds / day) + " days ago";
}

std::string time_of(std::int64_t seconds) {
  const std::string text = time_text(seconds);  // YYYY-MM-DDTHH:MM:SSZ; none for a time that cannot be
  if (seconds == 0 || text.size() != sizeof "YYYY-MM-DDTHH:MM:SSZ" - 1) return "not known";
  return "<time datetime=\"" + text + "\">" + text.substr(0, 10) + " " + text.substr(11, 5) + "</time>";
}

// Less than a second is told as one, so that a rate is never better than it was.
std::string rate_text(std::uint64_t bytes, std::uint64_t seconds) {
  return byte_text(bytes / std::max<std::uint64_t>(seconds, 1)) + "/s";
}

std::string headline(const ProtectionState& state) {
  const std::size_t all = state.machines.size();
  const std::size_t good = state.count(Protection::current);
  if (all == 0) return "No machine is protected yet";
  if (good == all)
    return all == 1 ? "The machine is protected" : "All " + std::to_string(all) + " machines are protected";
  return std::to_string(good) + " of " + counted(all, "machine") + (all == 1 ? " is" : " are") + " protected";
}

const char* label(Protection protection) {
  switch (protection) {
    case Protection::current:
      return "&#10003; Protected";
    case Protection::failed:
      return "&#10007; Failed";
    default:
      return "&#9888; Too old";
  }
}

const char* result_of(const RunState& run) {
  if (run.protected_machines == 0) return "failed";
  return run.failed_machines == 0 && run.error.empty() ? "complete" : "partial";
}

// ---- Parts of the page ----------------------------------------------------------------------------------------------

void put_tile(std::ostream& out, const std::string& number, const char* what) {
  out << "<div class=\"tile\"><b>" << number << "</b><span class=\"quiet\">" << what << "</span></div>\n";
}

void put_header(std::ostream& out, const ProtectionState& state, const std::string& repository) {
  std::uint64_t size = 0;
  std::uint64_t data = 0;
  for (const MachineState& machine : state.machines) {
    for (const DiskState& disk : machine.disks) {
      size += disk.disk.size;
      data += disk.disk.size - std::min(disk.disk.skipped, disk.disk.size);
    }
  }
  out << "<header>\n<h1>" << headline(state) << "</h1>\n<p class=\"quiet\">Repository " << html_text(repository)
      << ", as of " << time_of(state.now) << " UTC. A backup counts for " << state.stale_seconds / 3600
      << " hours.</p>\n<div class=\"tiles\">\n";
  put_tile(out, std::to_string(state.count(Protection::current)), "protected");
  put_tile(out, std::to_string(state.count(Protection::failed)), "failed");
  put_tile(out, std::to_string(state.count(Protection::stale)), "too old");
  put_tile(out, byte_text(data), ("of data on " + byte_text(size) + " of disks").c_str());
  out << "</div>\n</header>\n";
}

void put_strip(std::ostream& out, const DiskState& disk) {
  const std::vector<double> strip = strip_of(disk.ranges, disk.disk.size, strip_parts);
  out << "<svg class=\"strip\" viewBox=\"0 0 " << strip_parts
      << " 1\" preserveAspectRatio=\"none\" role=\"img\"><title>Where the disk holds its "
      << byte_text(disk.disk.size - std::min(disk.disk.skipped, disk.disk.size)) << " of data, in "
      << counted(disk.ranges.size(), "range") << "</title><rect class=\"back\" width=\"" << strip_parts
      << "\" height=\"1\"/>";
  const auto shade = [&](std::size_t at) { return static_cast<int>(std::ceil(strip[at] * shades)); };
  for (std::size_t begin = 0, end = 0; begin < strip.size(); begin = end) {
    end = begin + 1;
    while (end < strip.size() && shade(end) == shade(begin)) ++end;
    if (shade(begin) == 0) continue;
    const double opacity = 0.3 + 0.7 * shade(begin) / shades;  // a little data must be seen, too
    out << "<rect class=\"data\" x=\"" << begin << "\" width=\"" << end - begin << "\" height=\"1\" opacity=\""
        << opacity << "\"/>";
  }
  out << "</svg>\n";
}

void put_disk(std::ostream& out, const std::string& machine, const DiskState& state) {
  const SavedDisk& disk = state.disk;
  out << "<div class=\"disk\"><div class=\"name\"><span>" << html_text(disk.path.substr(machine.size() + 1))
      << "</span><span class=\"quiet\">" << byte_text(disk.size - std::min(disk.skipped, disk.size)) << " of "
      << byte_text(disk.size) << "</span></div>\n";
  if (state.problem.empty()) {
    put_strip(out, state);
  } else {
    out << "<p class=\"why failed\">" << html_text(state.problem) << "</p>\n";
  }
  out << "</div>\n";
}

void put_why(std::ostream& out, const MachineState& machine) {
  if (machine.problem.empty()) return;
  out << "<div class=\"why " << word(machine.protection) << "\"><strong>" << html_text(machine.problem) << "</strong>";
  if (!machine.next.empty()) out << "<p>" << html_text(machine.next) << "</p>";
  out << "</div>\n";
}

void put_runs(std::ostream& out, const std::vector<MachineRun>& runs) {
  if (runs.empty()) return;
  out << "<details><summary>" << counted(runs.size(), "run") << "</summary><div class=\"scroll\"><table>\n"
      << "<tr><th scope=\"col\">Ended (UTC)</th><th scope=\"col\">Result</th><th scope=\"col\" "
         "class=\"number\">Read</th>"
      << "<th scope=\"col\" class=\"number\">New</th><th scope=\"col\" class=\"number\">Time</th>"
      << "<th scope=\"col\" class=\"number\">Rate</th></tr>\n";
  for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
    out << "<tr><td>" << time_of(run->end) << "</td>";
    if (run->is_protected) {
      out << "<td><span class=\"state complete\">protected</span></td><td class=\"number\">" << byte_text(run->read)
          << "</td><td class=\"number\">" << byte_text(run->added) << "</td><td class=\"number\">"
          << duration_text(run->seconds) << "</td><td class=\"number\">" << rate_text(run->read, run->seconds)
          << "</td></tr>\n";
    } else {
      out << "<td colspan=\"5\"><span class=\"state failed\">failed</span> " << html_text(run->problem)
          << "</td></tr>\n";
    }
  }
  out << "</table></div></details>\n";
}

void put_machine(std::ostream& out, const MachineState& machine, std::int64_t now) {
  const std::size_t name = machine.path.rfind('/') + 1;
  out << "<article class=\"card\">\n<div class=\"title\"><h3>" << html_text(machine.path.substr(name))
      << "</h3><span class=\"state " << word(machine.protection) << "\">" << label(machine.protection)
      << "</span></div>\n<p class=\"quiet small\">" << html_text(machine.path.substr(0, name)) << "</p>\n<p>";
  if (machine.time == 0) {
    out << "There is no backup of it.";
  } else {
    out << "Last protected " << time_of(machine.time) << " UTC, " << age_text(now - machine.time) << ", by backup "
        << html_text(machine.backup_id) << "; " << counted(machine.backups, "backup") << " in the repository.";
  }
  if (machine.crash_consistent) out << " Crash-consistent: it ran while its disks were snapshotted.";
  out << "</p>\n";
  put_why(out, machine);
  for (const DiskState& disk : machine.disks) put_disk(out, machine.path, disk);
  put_runs(out, machine.runs);
  out << "</article>\n";
}

// ---- Charts ---------------------------------------------------------------------------------------------------------

std::uint64_t seconds_of_run(const RunState& run) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(run.end - run.begin, 0));
}

/// A number of each backup, over the backups.
struct Chart {
  const char* name;
  std::uint64_t (*value)(const RunState&);
  std::string (*text)(std::uint64_t);
};

constexpr std::array<Chart, 3> charts{{{"Time", seconds_of_run, duration_text},
                                       {"Read", [](const RunState& run) { return run.read; }, byte_text},
                                       {"New", [](const RunState& run) { return run.added; }, byte_text}}};

// The newest at the right end, however few there are.
void put_chart(std::ostream& out, const Chart& chart, const std::vector<RunState>& runs) {
  constexpr double width = 100;
  constexpr double height = 64;
  constexpr std::size_t places = 10;
  std::uint64_t most = 1;
  for (const RunState& run : runs) most = std::max(most, chart.value(run));
  const double step = width / static_cast<double>(std::max(runs.size(), places));
  out << "<figure><figcaption>" << chart.name << " <span class=\"quiet\">up to " << chart.text(most)
      << "</span></figcaption><svg class=\"bars\" viewBox=\"0 0 " << width << " " << height
      << "\" preserveAspectRatio=\"none\" role=\"img\"><title>" << chart.name
      << " of each backup, the newest at the right</title>\n";
  double x = width - step * static_cast<double>(runs.size());
  for (const RunState& run : runs) {
    const std::uint64_t value = chart.value(run);
    const double bar = std::max(2.0, height * static_cast<double>(value) / static_cast<double>(most));
    out << "<rect class=\"bar-" << result_of(run) << "\" x=\"" << x << "\" y=\"" << height - bar << "\" width=\""
        << step * 0.8 << "\" height=\"" << bar << "\"><title>" << html_text(run.backup_id) << ", " << result_of(run)
        << ": " << chart.text(value) << "</title></rect>\n";
    x += step;
  }
  out << "</svg></figure>\n";
}

void put_charts(std::ostream& out, const std::vector<RunState>& runs) {
  out << "<div class=\"charts\">\n";
  for (const Chart& chart : charts) put_chart(out, chart, runs);
  out << "</div>\n";
}

// ---- The backups ----------------------------------------------------------------------------------------------------

void put_backup(std::ostream& out, const RunState& run) {
  const std::uint64_t seconds = seconds_of_run(run);
  out << "<tr><td>" << time_of(run.begin) << "</td><td>" << html_text(run.backup_id) << "</td><td><span class=\"state "
      << result_of(run) << "\">" << result_of(run) << "</span></td><td class=\"number\">" << run.protected_machines
      << " of " << run.protected_machines + run.failed_machines << "</td><td class=\"number\">" << byte_text(run.read)
      << "</td><td class=\"number\">" << byte_text(run.added) << "</td><td class=\"number\">" << duration_text(seconds)
      << "</td><td class=\"number\">" << rate_text(run.read, seconds) << "</td></tr>\n";
  if (!run.error.empty()) out << "<tr><td></td><td colspan=\"7\">" << html_text(run.error) << "</td></tr>\n";
}

void put_backups(std::ostream& out, const std::vector<RunState>& runs) {
  out << "<h2>Last backups</h2>\n<section class=\"card\">\n";
  if (runs.empty()) {
    out << "<p class=\"quiet\">No run has left a record in the repository.</p>\n";
  } else {
    put_charts(out, runs);
    out << "<div class=\"scroll\"><table>\n<tr><th scope=\"col\">Began (UTC)</th><th scope=\"col\">Backup</th>"
        << "<th scope=\"col\">Result</th><th scope=\"col\" class=\"number\">Machines</th>"
        << "<th scope=\"col\" class=\"number\">Read</th><th scope=\"col\" class=\"number\">New</th>"
        << "<th scope=\"col\" class=\"number\">Time</th><th scope=\"col\" class=\"number\">Rate</th></tr>\n";
    for (auto run = runs.rbegin(); run != runs.rend(); ++run) put_backup(out, *run);
    out << "</table></div>\n";
  }
  out << "</section>\n";
}

}  // namespace

std::string html_text(std::string_view text) {
  std::string html;
  for (const char byte : printable(text)) {
    switch (byte) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += byte;
    }
  }
  return html;
}

std::vector<double> strip_of(const std::vector<DataRange>& ranges, std::uint64_t disk_size, std::size_t parts) {
  std::vector<double> strip(parts, 0);
  const double part = static_cast<double>(disk_size) / static_cast<double>(parts);
  for (const DataRange& range : ranges) {
    const auto begin = static_cast<double>(range.offset);
    const auto end = static_cast<double>(range.offset + range.length);
    for (auto at = static_cast<std::size_t>(begin / part); at < parts && static_cast<double>(at) * part < end; ++at) {
      const double from = std::max(begin, static_cast<double>(at) * part);
      const double to = std::min(end, static_cast<double>(at + 1) * part);
      strip[at] = std::min(1.0, strip[at] + std::max(0.0, to - from) / part);
    }
  }
  return strip;
}

// What stands in the page comes from outside, too; should any of it ever pass for markup, a browser runs and loads
// nothing of it.
std::string protection_page(const ProtectionState& state, const std::string& repository) {
  std::ostringstream out;
  out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      << "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
      << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" << headline(state)
      << "</title>\n<style>" << protection_style << "</style>\n</head>\n<body>\n";
  put_header(out, state, repository);
  out << "<main>\n<h2>Machines</h2>\n";
  for (const MachineState& machine : state.machines) put_machine(out, machine, state.now);
  put_backups(out, state.runs);
  out << "</main>\n<footer class=\"quiet small\">Made by azsbackup report. \"New\" is what the repository did not hold "
         "before; amber and red bars are backups that did not protect all or any.</footer>\n</body>\n</html>\n";
  return out.str();
}

}  // namespace host
