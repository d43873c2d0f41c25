// show: the host at a glance.
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "embedded_host/journal.h"
#include "embedded_host/objects/space.h"
#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/faults.h"
#include "embedded_host/store/switches.h"
#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/json_text.h"
#include "embedded_host/tool/table.h"

namespace quelt {

namespace {

using nlohmann::json;

constexpr std::size_t kMostRows = 20;

/// What there is to show.
// NOLINTNEXTLINE(bugprone-exception-escape): json's own destructor and move don't throw
struct Glance {
  std::string path;
  json host;  ///< the dump without secrets
  Space space;
  std::int64_t cachedKeys = 0;
  std::int64_t journalRecords = 0;
  bool journal = false;
  std::vector<std::string> faults;
};

std::int64_t Count(Connection& db, const char* query) {
  Rows rows = db.Query(query);
  return rows.Next() ? rows.Integer(0) : 0;
}

Glance LookAtHost() {
  Glance glance;
  Store store = Store::Instance();
  glance.path = store.path();
  store.Snapshot([&](Connection& db) {
    glance.host = DumpScenario(db, false);
    glance.space = ReadSpace(db);
    glance.cachedKeys = Count(db, "SELECT count(*) FROM cached_key");
    glance.journalRecords = Count(db, "SELECT count(*) FROM journal");
  });
  glance.journal = CurrentSwitches().journal;
  for (const NamedFault& fault : ListFaults()) {
    glance.faults.push_back(fault.first);
  }
  return glance;
}

json GlanceJson(const Glance& glance) {
  const Space& space = glance.space;
  return {{"state", glance.path},
          {"host", glance.host},
          {"cachedKeys", glance.cachedKeys},
          {"space",
           {{"physicalCapacity", space.physicalCapacity},
            {"physicalUsed", space.PhysicalUsed()},
            {"logicalCapacity", space.LogicalCapacity()},
            {"logicalUsed", space.LogicalUsed()}}},
          {"faults", glance.faults},
          {"journal", {{"on", glance.journal}, {"records", glance.journalRecords}}}};
}

/// A member as a cell of a table: texts as they are, other values as JSON, "-" for nothing.
std::string Cell(const json& item, const char* key) {
  const auto found = item.find(key);
  if (found == item.end()) {
    return "-";
  }
  const std::string text =
      Printable(found->is_string() ? found->get<std::string>() : found->dump());
  return text.empty() ? "-" : text;
}

struct Column {
  const char* heading;
  std::function<std::string(const json& item)> cell;
};
Column Plain(const char* heading, const char* key) {
  return {heading, [key](const json& item) { return Cell(item, key); }};
}
Column Size(const char* heading, const char* key) {
  return {heading, [key](const json& item) { return SizeText(item.value(key, std::int64_t{0})); }};
}

/// A list of the dump as a table with a title; long lists are cut.
void PrintList(const Glance& glance, const char* title, const char* key,
               const std::vector<Column>& columns, const Style& style) {
  const json items = glance.host.value(key, json::array());
  std::cout << '\n' << style.Bold(title) << " (" << items.size() << ")\n";
  if (items.empty()) {
    return;
  }
  const auto cells = [&](const auto& cell) {
    std::vector<std::string> texts(columns.size());
    std::transform(columns.begin(), columns.end(), texts.begin(), cell);
    return texts;
  };
  Table table(cells([](const Column& column) { return column.heading; }));
  const std::size_t shown = std::min(items.size(), kMostRows);
  for (std::size_t i = 0; i < shown; ++i) {
    table.Add(cells([&](const Column& column) { return column.cell(items[i]); }));
  }
  table.Print(std::cout, style);
  if (items.size() > shown) {
    std::cout << "... and " << items.size() - shown << " more; quelt-host dump prints all\n";
  }
}

std::string OnOff(bool on) { return on ? "on" : "off"; }

std::string FeaturesText(const json& host) {
  const json features = host.value("features", json::object());
  return "csd " + OnOff(features.value("csd", false)) + ", metadata nodes " +
         OnOff(features.value("metadataNode", false));
}

std::string ClusterText(const json& host) {
  const json cluster = host.value("cluster", json::object());
  return cluster.empty() ? "-"
                         : Cell(cluster, "id") +
                               (cluster.value("enabled", true) ? ", enabled" : ", not enabled");
}

std::string EncryptionText(const Glance& glance) {
  const json disks = glance.host.value("disks", json::array());
  const auto encrypted = std::count_if(
      disks.begin(), disks.end(), [](const json& disk) { return disk.value("encrypted", false); });
  return std::to_string(encrypted) + " of " + std::to_string(disks.size()) + " disks, KEK " +
         Cell(glance.host, "kekId") + ", host key " + Cell(glance.host, "hostKeyId") + ", " +
         std::to_string(glance.cachedKeys) + " keys in the cache";
}

std::string FaultsText(const std::vector<std::string>& faults) {
  std::string text;
  for (const std::string& operation : faults) {
    text += (text.empty() ? "" : ", ") + operation;
  }
  return text.empty() ? "none" : text;
}

std::string UsedText(std::int64_t used, std::int64_t capacity) {
  const std::int64_t percent = capacity == 0
                                   ? 0
                                   : static_cast<std::int64_t>(100.0 * static_cast<double>(used) /
                                                               static_cast<double>(capacity));
  return SizeText(used) + " of " + SizeText(capacity) + " used (" + std::to_string(percent) + " %)";
}

void PrintGlance(const Glance& glance) {
  const Style style(STDOUT_FILENO);
  const auto line = [&](const char* title, const std::string& text) {
    std::cout << style.Bold(title) << std::string(17 - std::string(title).size(), ' ') << text
              << '\n';
  };
  const Space& space = glance.space;
  line("State", glance.path);
  line("Hardware SKU", Cell(glance.host, "hardwareSku"));
  line("Cluster", ClusterText(glance.host));
  line("Features", FeaturesText(glance.host));
  line("Encryption", EncryptionText(glance));
  line("Logical space", UsedText(space.LogicalUsed(), space.LogicalCapacity()));
  line("Physical space", UsedText(space.PhysicalUsed(), space.physicalCapacity));
  line("Faults", glance.faults.empty() ? "none" : style.Yellow(FaultsText(glance.faults)));
  line("Journal",
       OnOff(glance.journal) + ", " + std::to_string(glance.journalRecords) + " records");
  PrintList(glance, "Disks", "disks",
            {Plain("NAME", "name"), Plain("UUID", "uuid"), Plain("ENCRYPTED", "encrypted"),
             Plain("KEK", "kekId"), Plain("KMIP CLUSTER", "clusterId")},
            style);
  PrintList(glance, "Disk groups", "diskGroups",
            {Plain("NAME", "name"), Plain(">FORMAT", "formatVersion"),
             Plain("FIRST-TIER DISKS", "t1Disks")},
            style);
  PrintList(glance, "Unicast agents", "agents",
            {Plain("NODE", "uuid"), Plain("TYPE", "type"), Plain("ADDRESS", "address"),
             Plain(">PORT", "port"), Plain("INTERFACE", "interface"), Plain("HOST", "hostname")},
            style);
  PrintList(glance, "Storage interfaces", "interfaces",
            {Plain("NAME", "name"), Plain("TRAFFIC", "trafficType"), Plain("UUID", "uuid")}, style);
  PrintList(
      glance, "Objects", "objects",
      {Plain("UUID", "uuid"), Plain("NAME", "friendlyName"), Plain("CLASS", "class"),
       Plain("ALLOCATION", "allocType"), Size(">SIZE", "size"), Plain("ACCESSIBLE", "accessible")},
      style);
}

}  // namespace

void AddShowCommand(CLI::App& app) {
  CLI::App& command = *app.add_subcommand("show", "Show the host at a glance");
  const auto asJson = std::make_shared<bool>(false);
  command.add_flag("--json", *asJson, "As one JSON object, with nothing left out but secrets");
  command.footer("Example:\n  quelt-host show");
  command.callback([asJson] {
    const Glance glance = LookAtHost();
    if (*asJson) {
      std::cout << JsonText(GlanceJson(glance), 2) << '\n';
    } else {
      PrintGlance(glance);
    }
  });
}

}  // namespace quelt
