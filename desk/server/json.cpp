#include "server/json.h"

#include <cxxabi.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <typeinfo>

#include "camera/knob_table.h"
#include "coredll/text.h"
#include "tarq/node_access.h"

namespace desk {

using Json = nlohmann::ordered_json;
using TARQ::CResourceValue;
using TARQ::NodeAccess;
using TARQ::ValueType;

namespace {

std::string ClassName(const TARQ::CServerResource& node) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(typeid(node).name(), nullptr, nullptr, &status), &std::free);
  std::string text = status == 0 ? name.get() : typeid(node).name();
  static constexpr std::string_view kUnnamed = "(anonymous namespace)::";
  const std::size_t unnamed = text.find(kUnnamed);
  if (unnamed != std::string::npos) text.erase(unnamed, kUnnamed.size());
  return text;
}

const char* TypeName(ValueType type) {
  switch (type) {
    case ValueType::Bool:
      return "bool";
    case ValueType::Int:
      return "int";
    case ValueType::Double:
      return "double";
    case ValueType::Ascii:
      return "text";
    case ValueType::Wide:
      return "wide text";
    case ValueType::Enumerated:
      return "enumerated text";
  }
  return "";
}

const char* KindName(const TARQ::CServerResource& node, std::string_view path) {
  if (node.Type() != TARQ::kValueNode) return "branch";
  if (dynamic_cast<const TARQ::CTrigResource*>(&node) != nullptr) return "trigger";
  return NodeAccess::IsTest(node, path) ? "test" : "value";
}

void AddFields(const TraceFields& fields, Json& json) {
  for (const auto& [key, value] : fields) {
    const auto add = [&json, &name = key](const auto& field) {
      if constexpr (std::is_same_v<decltype(field), const TraceJson&>) {
        json[name] = Json::parse(field.text);
      } else {
        json[name] = field;
      }
    };
    std::visit(add, value);
  }
}

void AddArea(const Area& area, Json& json) {
  json["x"] = area.x;
  json["y"] = area.y;
  json["width"] = area.width;
  json["height"] = area.height;
}

Json ControlJson(const Control& control, const Area& client) {
  const bool isButton = control.kind == Control::Kind::Button;
  Json json;
  json["id"] = control.id;
  json["kind"] = isButton ? "button" : "text";
  json["text"] = ToUtf8(control.text);
  json["label"] = ToUtf8(control.label);
  Area area = control.area;
  area.x += client.x;
  area.y += client.y;
  AddArea(area, json);
  json["enabled"] = control.enabled;
  json["hit"] = isButton && control.isHit;
  return json;
}

Json StepJson(const TraceStep& step) {
  Json json;
  json["ms"] = ToMilliseconds(step.at);
  json["op"] = step.op;
  AddFields(step.fields, json);
  return json;
}

}  // namespace

Json ValueJson(const CResourceValue& value) {
  switch (value.Type()) {
    case ValueType::Bool:
      return value.GetBool();
    case ValueType::Int:
      return value.GetInt();
    case ValueType::Double:
      return std::isfinite(value.GetDouble()) ? Json(value.GetDouble()) : Json(nullptr);
    default:
      return value.GetAscii().AsChar();
  }
}

Json NodeJson(TARQ::CServerResource& node, int depth) {
  Json json;
  const std::string path = NodeAccess::Path(node);
  json["path"] = path;
  json["kind"] = KindName(node, path);
  CResourceValue value("");
  const bool readable = node.Type() == TARQ::kValueNode && NodeAccess::Read(node, value) == 0;
  json["type"] = readable ? Json(TypeName(value.Type())) : Json(nullptr);
  json["class"] = ClassName(node);
  json["value"] = readable ? ValueJson(value) : Json(nullptr);
  if (readable && value.Type() == ValueType::Enumerated) json["allowed"] = value.GetList();
  json["children"] = Json::array();
  for (TARQ::CServerResource* const child : NodeAccess::Children(node)) {
    json["children"].push_back(depth > 0 ? NodeJson(*child, depth - 1)
                                         : Json(NodeAccess::Name(*child)));
  }
  return json;
}

namespace {

// As clients judge a test: by its status and by the text that it leaves.
bool IsFailure(const Json& delivered) {
  const Json& value = delivered["value"];
  return delivered["status"] != 0 || (value != "OK      " && value != "Tested  ");
}

}  // namespace

Json DeliveredJson(TARQ::CServerResource& node, const Delivered& delivered, TraceWish wish) {
  Json json;
  json["status"] = delivered.status;
  json["value"] = node.Type() == TARQ::kValueNode ? ValueJson(delivered.value) : Json(nullptr);
  json["records"] = delivered.records;
  if (delivered.observation.RecordsLeftOut() > 0) {
    json["records_left_out"] = delivered.observation.RecordsLeftOut();
  }
  json["elapsed_ms"] = ToMilliseconds(delivered.elapsed);
  const bool isWanted =
      wish == TraceWish::Always || (wish == TraceWish::OfFailure && IsFailure(json));
  if (!isWanted) return json;
  json["trace"] = Json::array();
  for (const TraceStep& step : delivered.observation.Steps()) {
    json["trace"].push_back(StepJson(step));
  }
  if (delivered.observation.StepsLeftOut() > 0) {
    json["trace_left_out"] = delivered.observation.StepsLeftOut();
  }
  return json;
}

Json DialogJson(const std::optional<WaitingDialog>& dialog, TimePoint now) {
  if (!dialog) return nullptr;
  const SceneWindow& window = dialog->window;
  Json json;
  json["template"] = window.dialogTemplate;
  json["title"] = ToUtf8(window.title);
  AddArea(window.area, json);
  json["timeout_ms"] = dialog->timesOut
                           ? Json(ToMilliseconds(std::max(*dialog->timesOut - now, Duration(0))))
                           : Json();
  json["controls"] = Json::array();
  for (const Control& control : window.controls) {
    json["controls"].push_back(ControlJson(control, window.Client()));
  }
  return json;
}

std::string EventText(const CameraEvent& event) {
  Json json;
  json["at"] = ToSeconds(event.at);
  AddFields(event.fields, json);
  return Dump(json);
}

std::optional<CResourceValue> ValueFromJson(const Json& json, ValueType type) {
  if (json.is_boolean()) return CResourceValue(json.get<bool>());
  if (json.is_string()) {
    const auto text = json.get<std::string>();
    // A text of the camera ends at its first NUL.
    if (text.find('\0') != std::string::npos) return std::nullopt;
    return CResourceValue(text.c_str());
  }
  if (!json.is_number()) return std::nullopt;
  const auto number = json.get<double>();
  if (!json.is_number_integer()) return TARQ::DoubleValue(number);
  const bool fits =
      number >= std::numeric_limits<LONG>::min() && number <= std::numeric_limits<LONG>::max();
  if (fits) return CResourceValue(json.get<LONG>());
  return type == ValueType::Double ? std::optional(TARQ::DoubleValue(number)) : std::nullopt;
}

std::string Dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

namespace {

Json KnobValueJson(const KnobRow& row, const KnobValue& value) {
  if (const bool* const truth = std::get_if<bool>(&value)) return *truth;
  if (const auto* const text = std::get_if<std::string>(&value)) return *text;
  const double number = std::get<double>(value);
  return row.kind == KnobKind::Integer ? Json(static_cast<std::int64_t>(number)) : Json(number);
}

Json FaultJson(const CameraFault& fault) {
  Json json;
  json["value"] = fault.value;
  json["what"] = fault.what;
  json["part"] = fault.part;
  if (!fault.row->from.empty()) json["from"] = fault.row->from;
  json["at_start"] = fault.row->atStart;
  if (!fault.row->unseen.empty()) json["unseen"] = fault.row->unseen;
  return json;
}

Json KnobJson(const Camera& camera, const KnobSet& set, const Knob& knob) {
  const KnobRow& row = knob.Row();
  Json json;
  json["path"] = (set.Prefix() + ".").append(row.name).substr(1);
  json["device"] = set.Family().title;
  json["kind"] = KindText(row.kind);
  json["unit"] = row.unit;
  if (HasDefault(row.kind)) json["start"] = KnobValueJson(row, knob.Start());
  if (row.kind == KnobKind::Integer || row.kind == KnobKind::Number) {
    json["range"] = {row.least, row.most};
  }
  json["meaning"] = row.meaning;
  if (!row.role.condition.empty()) json["condition"] = row.role.condition;
  if (row.role.least < row.role.most) json["healthy"] = {row.role.least, row.role.most};
  json["faults"] = Json::array();
  for (const CameraFault& fault : FaultsOf(camera, set, row)) {
    json["faults"].push_back(FaultJson(fault));
  }
  return json;
}

}  // namespace

Json KnobsJson(const Camera& camera) {
  Json json;
  json["knobs"] = Json::array();
  for (KnobSet* const set : camera.KnobSets()) {
    for (const Knob& knob : set->All()) json["knobs"].push_back(KnobJson(camera, *set, knob));
  }
  return json;
}

}  // namespace desk
