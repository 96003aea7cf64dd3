// Prints the knob table, as docs/desk-camera.md holds it.
#include <iostream>

#include "camera/knob_table.h"

int main() {
  std::cout << desk::KnobTableMarkdown();
  return 0;
}
