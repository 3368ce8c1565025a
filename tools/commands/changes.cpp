// SPDX-License-Identifier: Apache-2.0
#include "tools/commands/changes.h"

#include <algorithm>
#include <iostream>
#include <list>

#include "tools/core/answers.h"
#include "tools/terminal/Interrupt.h"
#include "values/Text.h"

namespace database_provider::recordctl {

ChangeResult runChange(Session& session, bool dryRun, const std::function<ChangeResult(const ChangeOptions&)>& change) {
  constexpr long long toldInFull = 20;
  long long failures = 0;
  ChangeResult soFar;
  ChangeOptions options;
  options.dryRun = dryRun;
  options.onProgress = [&soFar](const ChangeResult& result) {
    soFar = result;
    checkInterrupt();
  };
  options.onFailure = [&failures](const FailedChange& failed) {
    if (++failures <= toldInFull)
      std::cerr << "recordctl: " << failed.id << ": " << values::printable(failed.reason) << '\n';
  };
  DataBaseClient& client = session.store(Access::existing);
  const auto tellUnfinished = [&](bool isOneUnknown) {
    const bool isUndone = dryRun || client.keepsInsertionOrder() || soFar.changed == 0;
    std::cerr << "recordctl: "
              << (isUndone ? "nothing was changed" : records(soFar.changed) + " changed, which stay so")
              << (isOneUnknown ? "; of one more that is not known" : "") << '\n';
  };
  ChangeResult result;
  try {
    result = change(options);
  } catch (const Interrupted&) {
    tellUnfinished(false);
    throw;
  } catch (const database_client::Error& error) {
    if (wasInterrupted()) tellUnfinished(error.outcomeUnknown());
    throw;
  }
  if (!dryRun) client.setCancellation({});  // what was done is told, whatever comes now
  if (failures > toldInFull) std::cerr << "recordctl: and " << failures - toldInFull << " more records failed\n";
  if (failures > 0) session.noteFailure();
  return result;
}

void tellResult(const Session& session, bool dryRun, bool canSkip, const ChangeResult& result) {
  if (session.json()) return writeJson(toJson(result, canSkip));
  std::cout << records(result.changed) << (dryRun ? " would be changed" : " changed");
  if (result.unchanged > 0) std::cout << ", " << result.unchanged << " unchanged";
  if (result.skipped > 0) std::cout << ", " << result.skipped << " skipped";
  if (result.failed > 0) std::cout << ", " << result.failed << " failed";
  std::cout << '\n';
}

void changeAfterConsent(Session& session, const ConsentOptions& consent,
                        const std::function<ChangeResult(const ChangeOptions&)>& change) {
  ChangeResult result = runChange(session, true, change);
  if (!consent.dryRun)
    result = isAllowed(consent, changing, result.changed) ? runChange(session, false, change) : ChangeResult();
  tellResult(session, consent.dryRun, false, result);
}

void requireKnown(Session& session, RecordKind kind, const Name& name) {
  const auto remark = session.records(kind).remarkOn(name.text, kindOf(name.field));
  if (!remark) return;
  std::list<std::string> configured;
  if (name.field != Field::description) session.provider(kind, Access::existing)->enumCategoriesNames(configured);
  if (std::find(configured.begin(), configured.end(), name.text) != configured.end()) return;
  refuseUnknown({sentenceOf(*remark, kind)});
}

void refuseUnknown(const std::vector<std::string>& sentences) {
  std::string text;
  for (const std::string& sentence : sentences) text += (text.empty() ? "" : "\n") + sentence;
  if (!text.empty()) throw UsageError(text);
}

}  // namespace database_provider::recordctl
