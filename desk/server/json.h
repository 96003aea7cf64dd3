// Nodes, values and traces as JSON.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "camera/camera.h"
#include "common_dll.h"
#include "tarq/deliveries.h"
#include "trace/event_log.h"

namespace desk {

// depth: how many levels of children are nested as objects; below that, their names.
nlohmann::ordered_json NodeJson(TARQ::CServerResource& node, int depth);
nlohmann::ordered_json ValueJson(const TARQ::CResourceValue& value);
enum class TraceWish { None, OfFailure, Always };
nlohmann::ordered_json DeliveredJson(TARQ::CServerResource& node, const Delivered& delivered,
                                     TraceWish wish);
// A dialog, its places in pixels of the screen; null: none.
nlohmann::ordered_json DialogJson(const std::optional<WaitingDialog>& dialog, TimePoint now);
// The event's fields, with its time in seconds of the camera's clock.
std::string EventText(const CameraEvent& event);
// A value for a node that holds that type. None for what no node holds: null, a list, an object, an
// integer that does not fit.
std::optional<TARQ::CResourceValue> ValueFromJson(const nlohmann::ordered_json& json,
                                                  TARQ::ValueType type);

// Bytes that are no UTF-8 (a text cut in a character) are replaced, never refused.
std::string Dump(const nlohmann::ordered_json& json);

// All knobs of the camera: what each turns, its faults, and where a healthy camera may be.
nlohmann::ordered_json KnobsJson(const Camera& camera);

}  // namespace desk
