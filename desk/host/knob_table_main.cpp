// Prints the knob table, as docs/desk-camera.md holds it. A knob that stands for nothing is
// refused.
#include <exception>
#include <iostream>

#include "camera/knob_table.h"

int main() {
  try {
    const std::vector<std::string> unexplained = desk::KnobsWithoutRole();
    for (const std::string& name : unexplained) {
      std::cerr << "knobtable: " << name << " names neither a fault nor a condition\n";
    }
    if (!unexplained.empty()) return 1;
    std::cout << desk::KnobTableMarkdown();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "knobtable: " << error.what() << "\n";
    return 1;
  }
}
