#include "embedded_host/tool/differences.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <set>
#include <utility>

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

/// Compares the values of several dumps at one place, and below it.
class Comparison {
 public:
  void Compare(const std::string& place, const std::vector<Value>& values) {
    const bool all_objects = std::all_of(values.begin(), values.end(), [](const Value& value) {
      return value.whole == nullptr || (value.whole->is_object() && !value.IsHidden());
    });
    const bool all_present = std::all_of(values.begin(), values.end(),
                                         [](const Value& value) { return value.whole != nullptr; });
    // The items of an added or removed section are listed one by one.
    if (all_objects && (all_present || IsSection(place))) {
      CompareMembers(place, values);
      return;
    }
    DifferingPlace found{place, {}, {}};
    for (const Value& value : values) {
      const auto equal = std::find_if(values.begin(), values.end(), [&](const Value& other) {
        return value.whole == nullptr ? other.whole == nullptr
                                      : other.whole != nullptr && *value.whole == *other.whole;
      });
      found.firstEqual.push_back(static_cast<std::size_t>(equal - values.begin()));
      found.values.push_back(value.whole == nullptr ? std::nullopt : std::optional(value.Text()));
    }
    if (std::any_of(found.firstEqual.begin(), found.firstEqual.end(),
                    [](std::size_t index) { return index != 0; })) {
      places.push_back(std::move(found));
    }
  }

  std::vector<DifferingPlace> places;

 private:
  static bool IsSection(const std::string& place) { return place.find('/', 1) == place.npos; }

  void CompareMembers(const std::string& place, const std::vector<Value>& values) {
    std::set<std::string> keys;
    for (const Value& value : values) {
      if (value.whole != nullptr) {
        for (const auto& [key, member] : value.whole->items()) {
          keys.insert(key);
        }
      }
    }
    for (const std::string& key : keys) {
      std::vector<Value> members;
      std::transform(values.begin(), values.end(), std::back_inserter(members),
                     [&](const Value& value) { return value.Member(key); });
      Compare(place + "/" + EscapedKey(key), members);
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

std::vector<DifferingPlace> FindDifferingPlaces(const std::vector<HostDump>& dumps) {
  std::vector<HostDump> named;
  std::transform(dumps.begin(), dumps.end(), std::back_inserter(named), [](const HostDump& dump) {
    return HostDump{KeyByName(dump.whole), KeyByName(dump.shown)};
  });
  std::vector<Value> values;
  std::transform(named.begin(), named.end(), std::back_inserter(values),
                 [](const HostDump& dump) { return Value{&dump.whole, &dump.shown}; });
  Comparison comparison;
  comparison.Compare("", values);
  return std::move(comparison.places);
}

std::vector<Difference> FindDifferences(const HostDump& before, const HostDump& after) {
  std::vector<Difference> differences;
  for (DifferingPlace& each : FindDifferingPlaces({before, after})) {
    const auto kind = !each.values[0]   ? Difference::Kind::kAdded
                      : !each.values[1] ? Difference::Kind::kRemoved
                                        : Difference::Kind::kChanged;
    differences.push_back({kind, std::move(each.place), each.values[0].value_or(nullptr),
                           each.values[1].value_or(nullptr)});
  }
  return differences;
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
