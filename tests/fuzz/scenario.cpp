// Scenario documents: the dump with secrets of an accepted document loads to the same state; any
// other document is rejected with ScenarioError.
#include "embedded_host/scenario/scenario.h"

#include <sstream>

#include "embedded_host/document/node.h"
#include "embedded_host/document/parse.h"
#include "embedded_host/store/schema.h"
#include "embedded_host/store/state_file.h"
#include "embedded_host/store/transaction.h"
#include "platform/exception.h"
#include "tests/fuzz/fuzz.h"

namespace {

quelt::Connection& Host() {
  static quelt::Connection& host = *quelt::OpenState({quelt::kInMemory}).release();
  return host;
}

nlohmann::json LoadAndDump(const nlohmann::json& document) {
  quelt::ClearTables(Host());
  quelt::LoadScenario(Host(), document);
  return quelt::DumpScenario(Host(), true);
}

}  // namespace

void Check(const std::string& input) {
  const quelt::Transaction rolledBack(Host(), quelt::Transaction::Kind::kWrite);
  nlohmann::json dumped;
  try {
    std::istringstream text(input);
    dumped = LoadAndDump(quelt::ParseDocument(text));
  } catch (const quelt::ScenarioError&) {
    return;
  }
  Require(LoadAndDump(dumped) == dumped, "what was dumped loads to the same state");
}
