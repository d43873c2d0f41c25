#include "embedded_host/tool/differences.h"

#include <ostream>

#include "embedded_host/document/node.h"
#include "embedded_host/scenario/scenario.h"
#include "embedded_host/tool/json_text.h"

namespace quelt {

using nlohmann::json;

namespace {

/// What names an item of a list; the first set of members that it has. None: its position.
std::string NameOf(const json& item, std::size_t position) {
  static const std::vector<std::vector<const char*>> kNames = {
      {"uuid", "address", "port"}, {"kekId", "kmipClusterId"}, {"name"}, {"id"}, {"uuid"}};
  for (const auto& members : kNames) {
    std::string name;
    for (const char* const member : members) {
      const auto found = item.find(member);
      if (found == item.end()) {
        name.clear();
        break;
      }
      name += (name.empty() ? "" : ",") +
              (found->is_string() ? found->get<std::string>() : found->dump());
    }
    if (!name.empty()) {
      return name;
    }
  }
  return std::to_string(position);
}

/// Lists of objects become objects under their items' names: an item's place does not depend on
/// what stands before it.
json ByName(const json& value) {
  const bool list = value.is_array() && !value.empty() && value.front().is_object();
  if (!list && !value.is_object()) {
    return value;
  }
  json named = json::object();
  std::size_t position = 0;
  for (const auto& [key, member] : value.items()) {
    std::string name = list ? NameOf(member, position++) : key;
    if (named.contains(name)) {
      name += "#" + std::to_string(position);
    }
    named[name] = ByName(member);
  }
  return named;
}

const json* MemberOf(const json* object, const std::string& key) {
  if (object == nullptr || !object->is_object()) {
    return nullptr;
  }
  const auto found = object->find(key);
  return found == object->end() ? nullptr : &*found;
}

/// `whole` as far as `shown` has it.
json Shown(const json& whole, const json* shown) {
  if (shown == nullptr) {
    return "(secret)";
  }
  if (!whole.is_object() || !shown->is_object()) {
    return *shown;
  }
  json result = json::object();
  for (const auto& [key, member] : whole.items()) {
    result[key] = Shown(member, MemberOf(shown, key));
  }
  return result;
}

/// One value of a dump in both forms; null: not there.
struct Value {
  const json* whole;
  const json* shown;
  Value Member(const std::string& key) const {
    return {MemberOf(whole, key), MemberOf(shown, key)};
  }
  /// A word stands for it.
  bool IsHidden() const { return shown != nullptr && !shown->is_object(); }
  json Text() const { return Shown(*whole, shown); }
};

class Comparison {
 public:
  void Compare(const std::string& place, const Value& before, const Value& after) {
    if (before.whole == nullptr || after.whole == nullptr) {
      OneSided(place, before, after);
    } else if (before.whole->is_object() && after.whole->is_object() && !before.IsHidden() &&
               !after.IsHidden()) {
      Members(place, before, after);
    } else if (*before.whole != *after.whole) {
      differences.push_back({Difference::Kind::kChanged, place, before.Text(), after.Text()});
    }
  }

  std::vector<Difference> differences;

 private:
  /// A list or section that is new or gone as a whole shows its items one by one.
  static bool IsSection(const std::string& place) { return place.find('/', 1) == place.npos; }

  void OneSided(const std::string& place, const Value& before, const Value& after) {
    const Value& there = before.whole == nullptr ? after : before;
    if (there.whole == nullptr) {
      return;
    }
    if (IsSection(place) && there.whole->is_object()) {
      Members(place, before, after);
    } else if (before.whole == nullptr) {
      differences.push_back({Difference::Kind::kAdded, place, nullptr, after.Text()});
    } else {
      differences.push_back({Difference::Kind::kRemoved, place, before.Text(), nullptr});
    }
  }

  void Members(const std::string& place, const Value& before, const Value& after) {
    json keys = json::object();
    for (const Value& side : {before, after}) {
      if (side.whole != nullptr) {
        for (const auto& [key, member] : side.whole->items()) {
          keys[key] = nullptr;
        }
      }
    }
    for (const auto& [key, unused] : keys.items()) {
      Compare(place + "/" + EscapedKey(key), before.Member(key), after.Member(key));
    }
  }
};

std::string Text(const json& value) { return Printable(JsonText(value)); }

}  // namespace

HostDump DumpHost(Connection& db, bool withSecrets) {
  HostDump dump{DumpScenario(db, true), DumpScenario(db, withSecrets)};
  // A dump needs wrapped DEKs to load back; a list of changes does not.
  if (const auto disks = dump.shown.find("disks"); !withSecrets && disks != dump.shown.end()) {
    for (json& disk : *disks) {
      for (const char* const secret : {"wrapped", "aws"}) {
        if (disk.contains(secret)) {
          disk[secret] = "(secret)";
        }
      }
    }
  }
  return dump;
}

std::vector<Difference> FindDifferences(const HostDump& before, const HostDump& after) {
  const HostDump from{ByName(before.whole), ByName(before.shown)};
  const HostDump to{ByName(after.whole), ByName(after.shown)};
  Comparison comparison;
  comparison.Compare("", {&from.whole, &from.shown}, {&to.whole, &to.shown});
  return comparison.differences;
}

void PrintDifferences(const std::vector<Difference>& differences, std::ostream& out,
                      const Style& style) {
  for (const auto& [kind, place, before, after] : differences) {
    switch (kind) {
      case Difference::Kind::kAdded:
        out << style.Green("+ " + Printable(place)) << "  " << Text(after) << '\n';
        break;
      case Difference::Kind::kRemoved:
        out << style.Red("- " + Printable(place)) << "  " << Text(before) << '\n';
        break;
      case Difference::Kind::kChanged:
        out << style.Yellow("~ " + Printable(place)) << "  " << Text(before) << " -> "
            << Text(after) << '\n';
        break;
    }
  }
}

}  // namespace quelt
