#include "host/report.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/printable.h"

namespace host {

namespace {

constexpr std::size_t state_width = 9;
constexpr std::size_t name_width = 15;

const char* word(StepState state) {
  switch (state) {
    case StepState::ok:
      return "ok";
    case StepState::warning:
      return "warning";
    case StepState::failed:
      return "FAILED";
    default:
      return "-";
  }
}

const char* json_word(StepState state) {
  if (state == StepState::failed) return "failed";
  return state == StepState::not_tried ? "not tried" : word(state);
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size() + 1), ' ');
  return text;
}

std::string as_lines(const Step& step) {
  std::string lines = padded(word(step.state), state_width) + padded(step.name, name_width) + printable(step.detail);
  if (!step.next.empty()) lines += "\n" + std::string(state_width + name_width, ' ') + "-> " + printable(step.next);
  return lines + "\n";
}

nlohmann::ordered_json as_json(const Step& step) {
  nlohmann::ordered_json object{{"step", step.name}, {"state", json_word(step.state)}, {"detail", step.detail}};
  if (!step.next.empty()) object["next"] = step.next;
  return object;
}

}  // namespace

StepReport::StepReport(const Console& console, bool json, ReportHead head)
    : console_(console), json_(json), head_(std::move(head)) {}

void StepReport::add(Step step) {
  if (!json_) console_.print(as_lines(step));
  steps_.push_back(std::move(step));
}

ExitCode StepReport::finish(ExitCode code) const {
  const bool good = code == ExitCode::ok;
  if (!json_) {
    console_.print(good ? "\n" + head_.command + ": everything works.\n"
                        : "\n" + head_.command + " failed. Log: " + printable(head_.log_file) + "\n");
    return code;
  }
  nlohmann::ordered_json object{{"command", head_.command},
                                {"server", head_.server},
                                {"result", good ? "ok" : "failed"},
                                {"exit_code", static_cast<int>(code)}};
  for (const Step& step : steps_) object["steps"].push_back(as_json(step));
  object["log_file"] = head_.log_file;
  // Texts from outside may be no UTF-8; they are shown with a mark instead of failing the report.
  console_.print(object.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
  return code;
}

}  // namespace host
