#include "items/maintenance.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <string>
#include <string_view>

#include "items/bit_log_file.h"
#include "items/format.h"
#include "items/res_bit_item.h"
#include "items/resource_access.h"
#include "items/status.h"

namespace {

// The last count, of whichever node was read. Reads come on several threads: each counts for
// itself and publishes the whole count.
std::atomic<DWORD> gErrorCount{0};

// Calls visit for every value node below the branch, depth first, siblings in their order.
template <typename Visit>
void WalkValueNodes(TARQ::CResource& branch, const Visit& visit) {
  TARQ::CResource* child = nullptr;
  if (branch.OpenChild(0, child) != 0) return;
  while (child != nullptr) {
    if (child->Type() == TARQ::kValueNode) {
      visit(*child);
    } else {
      WalkValueNodes(*child, visit);
    }
    TARQ::CResource* sibling = nullptr;
    if (child->Iterate(sibling) != 0) sibling = nullptr;
    child->Close();
    child = sibling;
  }
}

bool IsFailure(const TARQ::CResourceValue& value) {
  static constexpr std::string_view kNoFailure[] = {kResultOK, "Not aval", kResultTested,
                                                    kUntested};
  if (value.Type() != TARQ::ValueType::Ascii) return false;
  const CText text = value.GetAscii();
  return std::find(std::begin(kNoFailure), std::end(kNoFailure), text.AsChar()) ==
         std::end(kNoFailure);
}

std::string ReportHeader(const char* cameraName, const char* cameraSerial) {
  constexpr char kPrefix[] = "        ";
  const LocalTime now = ReadLocalTime();
  return FormatText(
             "\n\n########################################################################\n") +
         FormatText("%s**************************\n", kPrefix) +
         FormatText("%sBit test results\n", kPrefix) +
         FormatText("%s**************************\n", kPrefix) +
         FormatText("%sGenerated:     ", kPrefix) +
         FormatText("%02d:%02d:%02d %04d-%02d-%02d\n", now.hour, now.minute, now.second, now.year,
                    now.month, now.day) +
         FormatText("%sCamera Name:   %s\n", kPrefix, cameraName) +
         FormatText("%sCamera Serial: %s\n", kPrefix, cameraSerial) +
         FormatText("%s--------------------------------------------------------\n", kPrefix);
}

}  // namespace

CResBitClearLog::CResBitClearLog(const TARQ::CResourcePath& path)
    : CTrigResource(path, false, kNodeAttributes) {
  if (BitLogExists()) return;
  TARQ::CResourceValue start(true, 0);
  bool changed = false;
  CResBitClearLog::SetImpl(start, changed);
}

DWORD CResBitClearLog::SetImpl(TARQ::CResourceValue& value, bool& /*changed*/) {
  const Trees trees;
  if (!value.GetBool()) return 0;
  if (trees.camera == nullptr) return kNoResourceTree;

  TARQ::CResourceValue name("????????", 0);
  TARQ::CResourceValue serial("????????", 0);
  OpenedResource(trees.camera, "version.product.name").ReadInto(name);
  OpenedResource(trees.camera, "version.product.serial").ReadInto(serial);
  RestartBitLog(ReportHeader(name.GetAscii().AsChar(), serial.GetAscii().AsChar()));
  return 0;
}

CResBitClearResult::CResBitClearResult(const TARQ::CResourcePath& path)
    : CTrigResource(path, false, kNodeAttributes) {}

DWORD CResBitClearResult::SetImpl(TARQ::CResourceValue& value, bool& /*changed*/) {
  if (!value.GetBool()) return 0;
  const Trees trees;
  if (trees.task == nullptr) return kNoResourceTree;

  const OpenedResource items(trees.task, "test.items");
  if (items) {
    WalkValueNodes(*items.Get(), [](TARQ::CResource& node) {
      node.Set(TARQ::CResourceValue(kUntested, 0), 0, 0, nullptr);
    });
  }
  return 0;
}

CResBitErrCnt::CResBitErrCnt(const TARQ::CResourcePath& path)
    : CServerResource(path, TARQ::CResourceValue(0, 0), 0x11) {
  gErrorCount = 0;
}

DWORD CResBitErrCnt::GetImpl(TARQ::CResourceValue& value) {
  const Trees trees;
  if (trees.task == nullptr) return kNoResourceTree;

  DWORD count = 0;
  const OpenedResource items(trees.task, "test.items");
  if (items) {
    WalkValueNodes(*items.Get(), [&count](TARQ::CResource& node) {
      TARQ::CResourceValue result("", 0);
      if (node.Get(result, nullptr) == 0 && IsFailure(result)) ++count;
    });
  }
  gErrorCount = count;
  return value.Set(static_cast<LONG>(count));
}
