// tavo-panel: one CANopen node on one CAN port.
//
// Panel.cpp shows the calling order of the stack step by step; this file is what is around it.

#include <iostream>

#include "DescriptionCheck.h"
#include "Panel.h"
#include "PanelError.h"
#include "PanelOptions.h"
#include "PatientOutput.h"

namespace {

constexpr int STATUS_CANNOT_RUN = 2;

// The stack tells of its states on standard output. Without a buffer behind it, the stream drops what it is given.
void silenceStandardOutput() {
  std::cout.rdbuf(nullptr);
}

void runPanel(const panel::PanelOptions& options) {
  const panel::PatientOutput output;
  if (options.quiet) {
    silenceStandardOutput();
  }
  panel::Panel panel(options);
  panel.prepare();
  panel.startNode();
  panel.run();
}

}  // namespace

int main(int argumentCount, char** arguments) {
  try {
    const panel::PanelOptions options = panel::PanelOptions::parse(argumentCount, arguments);
    if (!options.information.empty()) {
      std::cout << options.information;
      return 0;
    }
    if (options.check) {
      return panel::checkDescription(options, std::cout);
    }
    runPanel(options);
    return 0;
  } catch (const panel::PanelError& error) {
    std::cerr << "tavo-panel: " << error.what() << std::endl;
    return STATUS_CANNOT_RUN;
  }
}
