// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <pugixml.hpp>
#include <string_view>
#include <vector>

#include "importing/ToolRows.h"

// Test results in the XML that JUnit began with: a <testcase> for each test, in <testsuite>s. There is no one
// definition of it; what GoogleTest, CTest and pytest write is read, of which many others are alike.

namespace database_provider::importing {

namespace {

using database_client::GroupScope;

void setIfGiven(ObjectProperties& row, const char* key, const char* text) {
  if (*text != '\0') row.setValueString(key, text);
}

/// The attribute of an element or of the nearest one around it. A test that did not run has no time of its own, which
/// GoogleTest writes as 1970.
const char* inherited(pugi::xml_node node, const char* name) {
  constexpr std::string_view never = "1970-01-01T00:00:00";
  for (; node; node = node.parent()) {
    const std::string_view value = node.attribute(name).value();
    if (!value.empty() && value.substr(0, never.size()) != never) return node.attribute(name).value();
  }
  return "";
}

std::string statusOf(const pugi::xml_node& test) {
  const std::string status = test.attribute("status").value();
  const std::string result = test.attribute("result").value();
  if (test.child("error")) return "error";
  if (test.child("failure") || status == "fail") return "failed";
  if (result == "suppressed" || status == "disabled" || (status == "notrun" && result != "skipped")) return "disabled";
  return test.child("skipped") || result == "skipped" ? "skipped" : "passed";
}

void addMessage(ObjectProperties& row, const pugi::xml_node& test) {
  for (const char* name : {"error", "failure", "skipped"}) {
    const pugi::xml_node node = test.child(name);
    if (!node) continue;
    setIfGiven(row, "message", node.attribute("message").value());
    setIfGiven(row, "details", node.text().get());
    return;
  }
}

class JunitRows : public ToolRows {
 public:
  explicit JunitRows(const std::string& path) : ToolRows(path, false, true), text_(wholeFile(path)) {
    const pugi::xml_parse_result result = document_.load_buffer(text_.data(), text_.size());
    if (!result) {
      const auto end =
          text_.begin() + std::min<std::ptrdiff_t>(result.offset, static_cast<std::ptrdiff_t>(text_.size()));
      throw ImportError(path + ":" + std::to_string(1 + std::count(text_.begin(), end, '\n')) +
                        ": not XML: " + result.description());
    }
    const std::string root = document_.document_element().name();
    if (root != "testsuites" && root != "testsuite")
      throw ImportError(path + ": expected <testsuites> or <testsuite>, found <" + root + ">");
    collect(document_.document_element());
  }

  std::vector<std::string> keysKept() const override { return {"message", "details", "output", "errors"}; }

 protected:
  bool fill(Row& row) override {
    if (place_ == tests_.size()) return false;
    next_ = tests_[place_++];
    line_ += static_cast<std::size_t>(std::count(text_.begin() + offset_, text_.begin() + next_.offset_debug(), '\n'));
    offset_ = next_.offset_debug();
    row.line = line_;
    describe(row.parsed);
    return true;
  }
  void restart() override {
    place_ = 0;
    offset_ = 0;
    line_ = 1;
  }

 private:
  /// Suites may stand in suites.
  void collect(const pugi::xml_node& suite) {
    for (const pugi::xml_node& child : suite.children()) {
      const std::string_view name = child.name();
      if (name == "testcase") tests_.push_back(child);
      if (name == "testsuite") collect(child);
    }
  }

  void describe(ObjectProperties& row) const {
    setIfGiven(row, "suite", next_.parent().attribute("name").value());
    setIfGiven(row, "class", next_.attribute("classname").value());
    setIfGiven(row, "name", next_.attribute("name").value());
    row.setValueString("status", statusOf(next_));
    setIfGiven(row, "host", inherited(next_, "hostname"));
    setIfGiven(row, "seconds", next_.attribute("time").value());
    setIfGiven(row, "timestamp", inherited(next_, "timestamp"));
    setIfGiven(row, "file", next_.attribute("file").value());
    setIfGiven(row, "line", next_.attribute("line").value());
    setIfGiven(row, "parameter", next_.attribute("value_param").value());
    setIfGiven(row, "type", next_.attribute("type_param").value());
    addMessage(row, next_);
    setIfGiven(row, "output", next_.child("system-out").text().get());
    setIfGiven(row, "errors", next_.child("system-err").text().get());
    if (!next_.child("properties").first_child()) return;
    const GroupScope properties(row, "properties");
    for (const pugi::xml_node& property : next_.child("properties").children("property")) {
      const char* value = property.attribute("value").value();
      setIfGiven(row, property.attribute("name").value(), *value == '\0' ? property.text().get() : value);
    }
  }

  std::string text_;
  pugi::xml_document document_{};
  std::vector<pugi::xml_node> tests_{};
  std::size_t place_ = 0;
  pugi::xml_node next_{};
  std::ptrdiff_t offset_ = 0;  ///< of the test at hand
  std::size_t line_ = 1;       ///< where that stands
};

}  // namespace

std::unique_ptr<RowReader> openJunit(const std::string& path) {
  return std::make_unique<JunitRows>(path);
}

ImportPlan junitPlan() {
  ImportPlan plan;
  plan.categories = {"suite", "class", "name", "status", "host"};
  plan.descriptions = {{"seconds", PropertyType::real}, {"timestamp", PropertyType::time}};
  return plan;
}

}  // namespace database_provider::importing
