#include "camera/knob_table.h"

#include <algorithm>
#include <sstream>

#include "camera/variant.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

using TARQ::NodeAccess;

std::string Number(double number) {
  std::ostringstream text;
  text.precision(10);
  text << number;
  return text.str();
}

std::string RangeText(const KnobRow& row) {
  if (row.kind != KnobKind::Integer && row.kind != KnobKind::Number) return "";
  return Number(row.least) + " to " + Number(row.most);
}

std::string Replaced(std::string_view text, std::string_view place, const std::string& name) {
  std::string replaced(text);
  const std::size_t at = replaced.find(place);
  if (at != std::string::npos) replaced.replace(at, place.size(), name);
  return replaced;
}

// Below the node, but for the knobs: nodes that hold a value, and branches right above such ones.
struct NodeNames {
  std::vector<std::string> values;
  std::vector<std::string> branches;
};
void Collect(const TARQ::CServerResource& node, NodeNames& names) {
  bool isAboveValue = false;
  for (const TARQ::CServerResource* const child : NodeAccess::Children(node)) {
    const std::string path = NodeAccess::Path(*child);
    if (path == "desk") continue;
    if (child->Type() == TARQ::kValueNode) {
      names.values.push_back(path);
      isAboveValue = true;
    }
    Collect(*child, names);
  }
  const std::string path = NodeAccess::Path(node);
  if (isAboveValue && !path.empty()) names.branches.push_back(path);
}

// What a place in braces stands for on that camera.
std::vector<std::string> NamesFor(std::string_view place, const Camera& camera) {
  std::vector<std::string> found;
  if (place == "{key}") {
    for (const auto& [name, code] : camera.Variant().keypad.keys) found.push_back(name);
    return found;
  }
  NodeNames names;
  Collect(NodeAccess::Root(camera.CameraTree()), names);
  return place == "{node}" ? names.values : names.branches;
}

// A value as the table shows it: what stands in braces is one of several.
std::string FaultText(const Fault& fault, std::string_view part) {
  std::string text = "`";
  text.append(fault.value).append("`");
  if (!fault.from.empty()) text.append(" (").append(fault.from).append(")");
  text.append(": ").append(fault.what).append(" [");
  text.append(fault.part.empty() ? part : fault.part).append("]");
  if (fault.atStart) text += ", at the start";
  return text;
}

std::string RoleText(const KnobRow& row) {
  std::string text;
  for (const Fault& fault : row.role.Faults()) {
    text.append(text.empty() ? "" : "; ").append(FaultText(fault, "as the device"));
  }
  if (!row.role.condition.empty()) {
    text.append("condition: ").append(row.role.condition);
  }
  if (row.role.least < row.role.most) {
    text.append(text.empty() ? "" : "; ").append("healthy: ");
    text.append(Number(row.role.least)).append(" to ").append(Number(row.role.most));
  }
  return text;
}

// Each once, in the order in which the cameras publish them.
std::vector<const KnobFamily*> Families() {
  std::vector<const KnobFamily*> families;
  for (const std::string& name : VariantNames()) {
    CameraSettings settings;
    settings.variant = name;
    const Camera camera(settings);
    for (const KnobSet* const set : camera.KnobSets()) {
      const KnobFamily* const family = &set->Family();
      if (std::find(families.begin(), families.end(), family) == families.end()) {
        families.push_back(family);
      }
    }
  }
  return families;
}

}  // namespace

std::string_view KindText(KnobKind kind) {
  switch (kind) {
    case KnobKind::Bool:
      return "bool";
    case KnobKind::Integer:
      return "integer";
    case KnobKind::Number:
      return "number";
    case KnobKind::Text:
      return "text";
    case KnobKind::Trigger:
      return "trigger";
    case KnobKind::Command:
      return "command";
    case KnobKind::ReadOnly:
      return "read only";
  }
  return "";
}

bool HasDefault(KnobKind kind) {
  return kind != KnobKind::Trigger && kind != KnobKind::Command && kind != KnobKind::ReadOnly;
}

std::vector<CameraFault> FaultsOf(const Camera& camera, const KnobSet& set, const KnobRow& row) {
  std::vector<CameraFault> faults;
  for (const Fault& fault : row.role.Faults()) {
    const std::string part = fault.part.empty() ? set.Part() : std::string(fault.part);
    if (!fault.value.starts_with('{')) {
      faults.push_back(
          {std::string(fault.value), Replaced(fault.what, "{device}", set.Device()), part, &fault});
      continue;
    }
    for (const std::string& name : NamesFor(fault.value, camera)) {
      faults.push_back({name, Replaced(fault.what, fault.value, name), part, &fault});
    }
  }
  return faults;
}

std::string KnobTableMarkdown() {
  std::ostringstream text;
  for (const KnobFamily* const family : Families()) {
    text << "### " << family->title << "\n\n"
         << "| Knob | Kind | Unit | Default | Range | Meaning | Faults, or what it is a condition "
            "of |\n|---|---|---|---|---|---|---|\n";
    for (const KnobRow& row : family->rows) {
      text << "| `" << family->prefix << "." << row.name << "` | " << KindText(row.kind) << " | "
           << row.unit << " | ";
      if (HasDefault(row.kind) && row.initial.empty()) {
        text << "empty";
      } else if (HasDefault(row.kind)) {
        text << "`" << row.initial << "`";
      }
      text << " | " << RangeText(row) << " | " << row.meaning << " | " << RoleText(row) << " |\n";
    }
    text << "\n";
  }
  return text.str();
}

std::vector<std::string> KnobsWithoutRole() {
  std::vector<std::string> names;
  for (const KnobFamily* const family : Families()) {
    for (const KnobRow& row : family->rows) {
      const bool hasRole = !row.role.Faults().empty() || !row.role.condition.empty();
      if (HasDefault(row.kind) && !hasRole) {
        names.push_back(std::string(family->prefix).append(".").append(row.name));
      }
    }
  }
  return names;
}

}  // namespace desk
