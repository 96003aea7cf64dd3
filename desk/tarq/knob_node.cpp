#include "tarq/knob_node.h"

#include <typeinfo>

#include "tarq/node_access.h"

namespace desk {

namespace {

using TARQ::CResourceValue;
using TARQ::ValueType;

CResourceValue ToResourceValue(const Knob& knob) {
  const KnobValue value = knob.Read();
  if (const bool* const truth = std::get_if<bool>(&value)) return CResourceValue(*truth);
  if (const auto* const text = std::get_if<std::string>(&value)) {
    return CResourceValue(text->c_str());
  }
  const double number = std::get<double>(value);
  if (knob.Row().kind == KnobKind::Integer) return CResourceValue(static_cast<LONG>(number));
  return TARQ::DoubleValue(number);
}

ValueType NodeType(KnobKind kind) {
  switch (kind) {
    case KnobKind::Bool:
    case KnobKind::Trigger:
      return ValueType::Bool;
    case KnobKind::Integer:
      return ValueType::Int;
    case KnobKind::Number:
      return ValueType::Double;
    case KnobKind::Text:
    case KnobKind::Command:
    case KnobKind::ReadOnly:
      break;
  }
  return ValueType::Ascii;
}

class KnobNode : public TARQ::CServerResource {
 public:
  explicit KnobNode(Knob& knob)
      : CServerResource(TARQ::CResourcePath(std::string(knob.Row().name)),
                        CResourceValue(NodeType(knob.Row().kind)), TARQ::kPlainNode),
        mKnob(knob) {}

  DWORD SetImpl(CResourceValue& value, bool& changed) override {
    CResourceValue converted(NodeType(mKnob.Row().kind));
    if (converted.Set(value, true) != 0) return TARQ::kStatusRefused;
    changed = true;
    if (!mKnob.Write(ToKnobValue(converted))) return TARQ::kStatusRefused;
    TARQ::NodeAccess::ValueChanged(*this, converted);
    return 0;
  }

  bool IsSetting() const {
    return mKnob.Row().kind != KnobKind::Trigger && mKnob.Row().kind != KnobKind::Command;
  }

  DWORD GetImpl(CResourceValue& value) override { return value.Set(ToResourceValue(mKnob), false); }

 private:
  static KnobValue ToKnobValue(const CResourceValue& value) {
    switch (value.Type()) {
      case ValueType::Bool:
        return value.GetBool();
      case ValueType::Int:
      case ValueType::Double:
        return value.GetDouble();
      default:
        return std::string(value.GetAscii().AsChar());
    }
  }

  Knob& mKnob;
};

}  // namespace

void PublishKnobs(TARQ::CResourceTree& camera, KnobSet& knobs) {
  TARQ::CServerResource& branch =
      TARQ::NodeAccess::MakeBranch(TARQ::NodeAccess::Root(camera), knobs.Prefix());
  for (Knob& knob : knobs.All()) branch.AddChild(new KnobNode(knob), nullptr);
}

bool IsSetting(const TARQ::CServerResource& node) {
  const auto* const knob = dynamic_cast<const KnobNode*>(&node);
  return knob == nullptr ? typeid(node) == typeid(TARQ::CServerResource) : knob->IsSetting();
}

}  // namespace desk
