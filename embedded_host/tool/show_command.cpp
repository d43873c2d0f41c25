// show: an overview of the host.
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "embedded_host/crypto/kms/certificate_summary.h"
#include "embedded_host/objects/space.h"
#include "embedded_host/operation/faults.h"
#include "embedded_host/operation/journal.h"
#include "embedded_host/operation/switches.h"
#include "embedded_host/scenario/scenario.h"
#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/json_text.h"
#include "embedded_host/tool/progress.h"
#include "embedded_host/tool/table.h"

namespace quelt {

namespace {

using nlohmann::json;

constexpr std::size_t kMaxRows = 20;

/// The data that show prints.
// NOLINTNEXTLINE(bugprone-exception-escape): json's own destructor and move don't throw
struct Overview {
  std::string path;
  json host;  ///< the dump without secrets
  Space space;
  json cachedKeys = json::array();           ///< id, attribute and length of each
  json trustedCertificates = json::array();  ///< a summary of each
  json clientCertificates = json::array();   ///< the same
  std::int64_t journalRecords = 0;
  bool journal = false;
  std::vector<std::string> faults;
};

std::int64_t Count(Connection& db, const char* query) {
  Rows rows = db.Query(query);
  return rows.Next() ? rows.Integer(0) : 0;
}

json CachedKeys(Connection& db) {
  json keys = json::array();
  Rows rows = db.Query("SELECT id, attribute, length(key) FROM cached_key ORDER BY id");
  while (rows.Next()) {
    keys.push_back(
        {{"id", rows.Text(0)}, {"attribute", rows.Text(1)}, {"length", rows.Integer(2)}});
  }
  return keys;
}

/// The first certificate of a text; the others of a chain are its issuers'.
json CertificateJson(const json& text) {
  const CertificateSummary summary = Summarize(*ReadCertificates(text.get<std::string>()).front());
  return {{"subject", summary.subject},
          {"validFrom", summary.validFrom},
          {"validUntil", summary.validUntil},
          {"fingerprint", summary.fingerprint}};
}

json TrustedCertificates(const json& host) {
  json certificates = json::array();
  const json kms = host.value("kms", json::object());
  for (const json& text : kms.value("trustedCertificates", json::array())) {
    certificates.push_back(CertificateJson(text));
  }
  return certificates;
}

json ClientCertificates(const json& host) {
  json certificates = json::array();
  const json kms = host.value("kms", json::object());
  const json clients = kms.value("clientCertificates", json::object());
  for (const auto& [cluster, client] : clients.items()) {
    certificates.push_back(CertificateJson(client.at("certificate")));
    certificates.back()["kmipClusterId"] = cluster;
  }
  return certificates;
}

Overview ReadOverview() {
  const Progress progress("Reading the host");
  Overview overview;
  Store store = Store::Instance();
  overview.path = store.path();
  store.Snapshot([&](Connection& db) {
    overview.host = DumpScenario(db, false);
    overview.space = ReadSpace(db);
    overview.cachedKeys = CachedKeys(db);
    overview.journalRecords = Count(db, "SELECT count(*) FROM journal");
  });
  overview.trustedCertificates = TrustedCertificates(overview.host);
  overview.clientCertificates = ClientCertificates(overview.host);
  overview.journal = CurrentSwitches().journal;
  for (const NamedFault& fault : ListFaults()) {
    overview.faults.push_back(fault.first);
  }
  return overview;
}

json OverviewJson(const Overview& overview) {
  const Space& space = overview.space;
  return {{"state", overview.path},
          {"host", overview.host},
          {"cachedKeys", overview.cachedKeys.size()},
          {"keys", overview.cachedKeys},
          {"trustedCertificates", overview.trustedCertificates},
          {"clientCertificates", overview.clientCertificates},
          {"space",
           {{"physicalCapacity", space.physicalCapacity},
            {"physicalUsed", space.PhysicalUsed()},
            {"logicalCapacity", space.LogicalCapacity()},
            {"logicalUsed", space.LogicalUsed()}}},
          {"faults", overview.faults},
          {"journal", {{"on", overview.journal}, {"records", overview.journalRecords}}}};
}

/// A member as a table cell: texts unchanged, other values as JSON, "-" if missing or empty.
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

/// Prints lists as tables with titles.
class ListPrinter {
 public:
  ListPrinter(bool all, const Style& style) : all_(all), style_(style) {}

  void Print(const char* title, const json& items, const std::vector<Column>& columns) const {
    std::cout << '\n' << style_.Bold(title) << " (" << items.size() << ")\n";
    if (items.empty()) {
      return;
    }
    const auto cells = [&](const auto& cell) {
      std::vector<std::string> texts(columns.size());
      std::transform(columns.begin(), columns.end(), texts.begin(), cell);
      return texts;
    };
    Table table(cells([](const Column& column) { return column.heading; }));
    const std::size_t shown = all_ ? items.size() : std::min(items.size(), kMaxRows);
    for (std::size_t i = 0; i < shown; ++i) {
      table.Add(cells([&](const Column& column) { return column.cell(items[i]); }));
    }
    table.Print(std::cout, style_);
    if (items.size() > shown) {
      std::cout << "... and " << items.size() - shown << " more; --all shows them\n";
    }
  }

 private:
  const bool all_;
  const Style& style_;
};

json List(const json& object, const char* key) { return object.value(key, json::array()); }

/// First-tier disks, each with its facts as one text.
json FirstTierDisks(const json& host) {
  json disks = json::array();
  const json facts = host.value("t1Disks", json::object());
  for (const auto& [name, values] : facts.items()) {
    std::string text;
    for (const auto& [fact, value] : values.items()) {
      text += (text.empty() ? "" : ", ") + fact + " " + value.dump();
    }
    disks.push_back({{"name", name}, {"facts", text}});
  }
  return disks;
}

/// The keys of all KMIP clusters.
json KmipKeys(const json& kms) {
  json keys = json::array();
  const json clusters = kms.value("keys", json::object());
  for (const auto& [cluster, ids] : clusters.items()) {
    for (const json& id : ids) {
      keys.push_back({{"cluster", cluster}, {"id", id}});
    }
  }
  return keys;
}

void PrintLists(const Overview& overview, const ListPrinter& printer) {
  const json& host = overview.host;
  const json kms = host.value("kms", json::object());
  const std::vector<Column> agent = {Plain("NODE", "uuid"),           Plain("TYPE", "type"),
                                     Plain("ADDRESS", "address"),     Plain(">PORT", "port"),
                                     Plain("INTERFACE", "interface"), Plain("HOST", "hostname")};
  printer.Print("Disks", List(host, "disks"),
                {Plain("NAME", "name"), Plain("UUID", "uuid"), Plain("ENCRYPTED", "encrypted"),
                 Plain("KEK", "kekId"), Plain("KMIP CLUSTER", "clusterId")});
  printer.Print("First-tier disks", FirstTierDisks(host),
                {Plain("NAME", "name"), Plain("FACTS", "facts")});
  printer.Print("Disk groups", List(host, "diskGroups"),
                {Plain("NAME", "name"), Plain(">FORMAT", "formatVersion"),
                 Plain("FIRST-TIER DISKS", "t1Disks")});
  printer.Print("Cached keys", overview.cachedKeys,
                {Plain("ID", "id"), Plain("ATTRIBUTE", "attribute"), Plain(">BYTES", "length")});
  printer.Print("Key servers", List(kms, "servers"),
                {Plain("NAME", "name"), Plain("KMIP CLUSTER", "kmipClusterId"),
                 Plain("ADDRESS", "address"), Plain(">PORT", "port"), Plain("USER", "userName")});
  printer.Print("KMIP keys", KmipKeys(kms), {Plain("KMIP CLUSTER", "cluster"), Plain("ID", "id")});
  std::vector<Column> certificate = {Plain("SUBJECT", "subject"), Plain("VALID FROM", "validFrom"),
                                     Plain("VALID UNTIL", "validUntil"),
                                     Plain("SHA-256", "fingerprint")};
  printer.Print("Trusted certificates", overview.trustedCertificates, certificate);
  certificate.insert(certificate.begin(), Plain("KMIP CLUSTER", "kmipClusterId"));
  printer.Print("Client certificates", overview.clientCertificates, certificate);
  printer.Print("Unicast agents", List(host, "agents"), agent);
  printer.Print("Recorded agents", List(host, "recordedAgents"), agent);
  printer.Print("Storage interfaces", List(host, "interfaces"),
                {Plain("NAME", "name"), Plain("TRAFFIC", "trafficType"), Plain("UUID", "uuid")});
  printer.Print(
      "Objects", List(host, "objects"),
      {Plain("UUID", "uuid"), Plain("NAME", "friendlyName"), Plain("CLASS", "class"),
       Plain("ALLOCATION", "allocType"), Size(">SIZE", "size"), Plain("ACCESSIBLE", "accessible")});
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

std::string EncryptionText(const Overview& overview) {
  const json disks = overview.host.value("disks", json::array());
  const auto encrypted = std::count_if(
      disks.begin(), disks.end(), [](const json& disk) { return disk.value("encrypted", false); });
  return std::to_string(encrypted) + " of " + std::to_string(disks.size()) + " disks, KEK " +
         Cell(overview.host, "kekId") + ", host key " + Cell(overview.host, "hostKeyId") + ", " +
         std::to_string(overview.cachedKeys.size()) + " keys in the cache";
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

void PrintOverview(const Overview& overview, bool all) {
  const Style style(STDOUT_FILENO);
  const auto line = [&](const char* title, const std::string& text) {
    std::cout << style.Bold(title) << std::string(17 - std::string(title).size(), ' ') << text
              << '\n';
  };
  const Space& space = overview.space;
  line("State", overview.path);
  line("Hardware SKU", Cell(overview.host, "hardwareSku"));
  line("Cluster", ClusterText(overview.host));
  line("Features", FeaturesText(overview.host));
  line("Encryption", EncryptionText(overview));
  line("Logical space", UsedText(space.LogicalUsed(), space.LogicalCapacity()));
  line("Physical space", UsedText(space.PhysicalUsed(), space.physicalCapacity));
  line("Faults", overview.faults.empty() ? "none" : style.Yellow(FaultsText(overview.faults)));
  line("Journal",
       OnOff(overview.journal) + ", " + std::to_string(overview.journalRecords) + " records");
  PrintLists(overview, ListPrinter(all, style));
}

}  // namespace

void AddShowCommand(CLI::App& app) {
  CLI::App& command = *app.add_subcommand("show", "Show an overview of the host");
  const auto asJson = std::make_shared<bool>(false);
  command.add_flag("--json", *asJson, "Print one JSON object with everything except secrets");
  const auto all = std::make_shared<bool>(false);
  command.add_flag("--all", *all, "Print all rows of each list instead of the first 20");
  command.footer("Example:\n  quelt-host show");
  command.callback([asJson, all] {
    const Overview overview = ReadOverview();
    if (*asJson) {
      std::cout << JsonText(OverviewJson(overview), 2) << '\n';
    } else {
      PrintOverview(overview, *all);
    }
  });
}

}  // namespace quelt
