#include <fmt/core.h>

#include <algorithm>

#include "cli/command.h"
#include "cli/doctor_checks.h"
#include "cli/json_output.h"
#include "cli/output.h"

namespace tovrin::cli {

namespace {

Findings examine(Session& session) {
  Findings findings;
  checkFolders(session.platform(), findings);
  checkManifests(session.platform(), findings);
  checkIndexes(session.platform(), findings);
  checkJournal(session.platform(), findings);
  checkLocks(session.platform(), findings);
  checkNames(session, findings);
  checkWorker(session.platform(), findings);
  checkMounts(session.platform(), findings);
  checkFUSE(findings);
  return findings;
}

bool isHealthy(const Findings& findings) {
  return std::ranges::none_of(findings,
                              [](const Finding& finding) { return finding.level == Finding::Level::problem; });
}

std::string text(const Findings& findings) {
  std::string result;
  for (const Finding& finding : findings) {
    const std::string subject = finding.subject.empty() ? "" : printable(finding.subject) + ": ";
    result +=
        fmt::format("{:<8} {:<10} {}{}\n", rawValue(finding.level), finding.check, subject, printable(finding.message));
  }
  return result +
         (isHealthy(findings) ? "All is well.\n" : "Something is wrong: see the lines that begin with “problem”.\n");
}

void writeFinding(JSONWriter& writer, const Finding& finding) {
  const JSONObject object(writer);
  object.member("level", rawValue(finding.level));
  object.member("check", finding.check);
  if (!finding.subject.empty()) object.member("subject", repairedUTF8(finding.subject));
  object.member("message", repairedUTF8(finding.message));
  if (!finding.error) return;
  object.member("domain", finding.error->domain());
  object.member("code", finding.error->code());
  if (const DecodingFailure* decoding = finding.error->decodingFailure()) {
    object.member("codingPath", decoding->codingPath);
    object.member("debugDescription", decoding->debugDescription);
  }
}

std::string json(const Findings& findings) {
  return jsonText([&](JSONWriter& writer) {
    const JSONObject object(writer);
    object.member("healthy", isHealthy(findings));
    object.memberBy("findings", [&] {
      writeArray(writer, findings, [&](const Finding& finding) { writeFinding(writer, finding); });
    });
  });
}

Outcome doctor(Session& session, bool asJSON) {
  const Findings findings = examine(session);
  TOVRIN_CHECK(about("standard output", writeStandardOutput(asJSON ? json(findings) + '\n' : text(findings))));
  return isHealthy(findings) ? kExitDone : kExitFailed;
}

}  // namespace

void addDoctorCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command = addCommand(app, "doctor", "Say what is wrong, in plain words", "tovrin doctor");
  command->add_flag("--json", invocation.json, "Print the findings as JSON");
  command->callback(
      [&invocation] { invocation.run = [&invocation](Session& session) { return doctor(session, invocation.json); }; });
}

}  // namespace tovrin::cli
