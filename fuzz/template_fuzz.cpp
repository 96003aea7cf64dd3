// Feeds anything at all to the readers of resources and dialog templates.
#include <cstddef>
#include <cstdint>

#include "coredll/dialog_template.h"
#include "coredll/resources.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  desk::ReadDialogTemplate(bytes);
  const desk::ModuleResources resources(bytes);
  for (std::uint16_t number = 100; number < 128; ++number) {
    if (const auto found = resources.Find(5, number)) {
      desk::ReadDialogTemplate(*found);
      resources.StartingAt(found->data());
    }
  }
  return 0;
}
