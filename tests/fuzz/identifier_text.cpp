// Identifier texts: an accepted text is written in its normal form, which parses to the same
// identifier; characters after the identifier are ignored.
#include "objects/identifier_text.h"

#include "tests/fuzz/fuzz.h"

using pyquelt::CidText;
using pyquelt::Identifier;
using pyquelt::ObjectUuidText;

namespace {

template <typename Form>
bool Accepts(const std::string& text, Identifier& identifier) {
  const bool accepted = Form::Read(text.c_str(), identifier);
  if (accepted) {
    Identifier again{};
    Require(Form::Read((text + "-1 z").c_str(), again) && again == identifier,
            "what follows an identifier changes nothing");
  }
  return accepted;
}

}  // namespace

void Check(const std::string& input) {
  const std::string text = input.substr(0, input.find('\0'));
  Identifier identifier{};
  (void)Accepts<CidText>(text, identifier);
  if (Accepts<ObjectUuidText>(text, identifier)) {
    const std::string written = ObjectUuidText::Write(identifier);
    Identifier again{};
    Require(
        written.size() == 36 && ObjectUuidText::Read(written.c_str(), again) && again == identifier,
        "a written identifier reads as itself");
  }
}
