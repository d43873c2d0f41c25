#include "embedded_host/tool/differences.h"

#include <ostream>

#include "embedded_host/document/node.h"
#include "embedded_host/scenario/scenario.h"
#include "embedded_host/tool/json_text.h"

namespace quelt {

using nlohmann::json;

namespace {

/// The name of a list item: the values of the first set of members that it has, or its position.
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

/// Converts lists of objects to objects with the items' names as keys, so that an item's place does
/// not depend on the items before it.
json KeyByName(const json& value) {
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
    named[name] = KeyByName(member);
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

/// A copy of `whole` with "(secret)" in place of members that `shown` does not have.
json Redacted(const json& whole, const json* shown) {
  if (shown == nullptr) {
    return "(secret)";
  }
  if (!whole.is_object() || !shown->is_object()) {
    return *shown;
  }
  json result = json::object();
  for (const auto& [key, member] : whole.items()) {
    result[key] = Redacted(member, MemberOf(shown, key));
  }
  return result;
}

/// One value of a dump in both forms; null if missing.
struct Value {
  const json* whole;
  const json* shown;
  Value Member(const std::string& key) const {
    return {MemberOf(whole, key), MemberOf(shown, key)};
  }
  /// True if a text such as "(secret)" is shown instead.
  bool IsHidden() const { return shown != nullptr && !shown->is_object(); }
  json Text() const { return Redacted(*whole, shown); }
};

class Comparison {
 public:
  void Compare(const std::string& place, const Value& before, const Value& after) {
    if (before.whole == nullptr || after.whole == nullptr) {
      CompareOneSided(place, before, after);
    } else if (before.whole->is_object() && after.whole->is_object() && !before.IsHidden() &&
               !after.IsHidden()) {
      CompareMembers(place, before, after);
    } else if (*before.whole != *after.whole) {
      differences.push_back({Difference::Kind::kChanged, place, before.Text(), after.Text()});
    }
  }

  std::vector<Difference> differences;

 private:
  /// The items of an added or removed section are listed one by one.
  static bool IsSection(const std::string& place) { return place.find('/', 1) == place.npos; }

  void CompareOneSided(const std::string& place, const Value& before, const Value& after) {
    const Value& present = before.whole == nullptr ? after : before;
    if (present.whole == nullptr) {
      return;
    }
    if (IsSection(place) && present.whole->is_object()) {
      CompareMembers(place, before, after);
    } else if (before.whole == nullptr) {
      differences.push_back({Difference::Kind::kAdded, place, nullptr, after.Text()});
    } else {
      differences.push_back({Difference::Kind::kRemoved, place, before.Text(), nullptr});
    }
  }

  void CompareMembers(const std::string& place, const Value& before, const Value& after) {
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
  // Dumps contain wrapped DEKs because loading needs them; a list of changes hides them.
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
  const HostDump from{KeyByName(before.whole), KeyByName(before.shown)};
  const HostDump to{KeyByName(after.whole), KeyByName(after.shown)};
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
