#include "embedded_host/tool/state_comparison.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "embedded_host/document/node.h"
#include "embedded_host/tool/differences.h"
#include "embedded_host/tool/host_snapshot.h"
#include "embedded_host/tool/json_text.h"

namespace quelt {

using nlohmann::json;

namespace {

void RemovePlace(json& value, const IgnoredPlace& place, std::size_t depth) {
  if (!value.is_object()) {
    return;
  }
  const bool is_last = depth + 1 == place.size();
  for (auto member = value.begin(); member != value.end();) {
    const bool matches = place[depth] == "*" || place[depth] == member.key();
    if (matches && is_last) {
      member = value.erase(member);
      continue;
    }
    if (matches) {
      RemovePlace(*member, place, depth + 1);
    }
    ++member;
  }
}

void Prepare(json& document, const ComparisonRules& rules) {
  if (rules.byForm) {
    rules.generated.ReplaceIn(document);
  }
  document = KeyByName(document);
  for (const IgnoredPlace& place : rules.ignored) {
    RemovePlace(document, place, 0);
  }
}

std::vector<DifferingPlace> FindPlaces(std::vector<HostDump> dumps, const ComparisonRules& rules) {
  for (HostDump& dump : dumps) {
    Prepare(dump.whole, rules);
    Prepare(dump.shown, rules);
  }
  return FindDifferingPlaces(dumps);
}

void AddSecrets(const json& whole, const json* shown, std::set<std::string>& secrets) {
  constexpr std::size_t kShortestSecret = 4;  // shorter ones occur in other texts
  if (whole.is_string()) {
    const std::string text = whole.get<std::string>();
    if (text.size() >= kShortestSecret && (shown == nullptr || *shown != whole)) {
      secrets.insert(text);
    }
  } else if (whole.is_object()) {
    for (const auto& [key, member] : whole.items()) {
      const bool has = shown != nullptr && shown->is_object() && shown->contains(key);
      // The names and properties of a key are not secret.
      if (key != "id" && key != "attribute" && key != "kekId" && key != "kmipClusterId") {
        AddSecrets(member, has ? &shown->at(key) : nullptr, secrets);
      }
    }
  } else if (whole.is_array()) {
    for (std::size_t i = 0; i < whole.size(); ++i) {
      const bool has = shown != nullptr && shown->is_array() && i < shown->size();
      AddSecrets(whole[i], has ? &shown->at(i) : nullptr, secrets);
    }
  }
}

std::vector<std::string> WrappedDeksWithoutKek(const json& whole) {
  std::vector<std::string> places;
  for (const json& disk : whole.value("disks", json::array())) {
    if (disk.contains("wrapped") && !disk["wrapped"].contains("unwrapped")) {
      places.push_back("/disks/" + EscapedKey(disk.at("name").get<std::string>()) + "/wrapped");
    }
  }
  return places;
}

std::string ValueText(const std::optional<json>& value) {
  return value ? JsonText(*value) : "missing";
}

}  // namespace

IgnoredPlace ParseIgnoredPlace(const std::string& pointer) {
  try {
    json::json_pointer rest(pointer);
    IgnoredPlace place;
    for (; !rest.empty(); rest.pop_back()) {
      place.insert(place.begin(), rest.back());
    }
    if (!place.empty()) {
      return place;
    }
  } catch (const json::exception&) {
    // not a JSON pointer
  }
  throw std::invalid_argument("Expected a JSON pointer such as \"/disks/*/kekId\", not \"" +
                              pointer + "\"");
}

StateComparison CompareStates(const std::string& state, const std::string& before,
                              const std::string& after, const ComparisonRules& rules) {
  constexpr const char* kNames[] = {"found", "before", "after"};
  StateComparison comparison{true, true, nlohmann::ordered_json::array()};
  for (const DifferingPlace& each : FindPlaces(DumpDifferingParts(state, {before, after}), rules)) {
    comparison.isBefore = comparison.isBefore && each.firstEqual[1] == 0;
    comparison.isAfter = comparison.isAfter && each.firstEqual[2] == 0;
    nlohmann::ordered_json place = {{"place", each.place}};
    for (const std::size_t i : {1, 2, 0}) {
      if (each.values[i]) {
        place[kNames[i]] = *each.values[i];
      }
    }
    comparison.places.push_back(std::move(place));
  }
  return comparison;
}

BaselineStates CompareBaselines(const std::string& before, const std::string& after1,
                                const std::string& after2, std::vector<IgnoredPlace> ignored) {
  BaselineStates states;
  std::vector<std::set<std::string>> parts;
  for (const std::string& file : {before, after1, after2}) {
    const HostDump dump = std::move(DumpDifferingParts(file, {}).front());
    parts.push_back(CollectGeneratedParts(dump.whole));
    AddSecrets(dump.whole, &dump.shown, states.secrets);
    const auto places = WrappedDeksWithoutKek(dump.whole);
    std::copy_if(places.begin(), places.end(), std::back_inserter(states.comparedByBytes),
                 [&](const std::string& place) {
                   return std::find(states.comparedByBytes.begin(), states.comparedByBytes.end(),
                                    place) == states.comparedByBytes.end();
                 });
  }
  std::set<std::string> fixed = std::move(parts[0]);
  std::set_intersection(parts[1].begin(), parts[1].end(), parts[2].begin(), parts[2].end(),
                        std::inserter(fixed, fixed.end()));
  states.rules.byForm = std::any_of(parts[1].begin(), parts[1].end(),
                                    [&](const std::string& part) { return !fixed.contains(part); });
  states.rules.ignored = std::move(ignored);
  states.rules.generated = GeneratedValues(std::move(fixed));
  const auto places = FindPlaces(DumpDifferingParts(after1, {after2}), states.rules);
  if (!places.empty()) {
    states.difference = places[0].place + " is " + ValueText(places[0].values[0]) +
                        " after one run and " + ValueText(places[0].values[1]) + " after the other";
  }
  return states;
}

}  // namespace quelt
