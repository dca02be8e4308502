#include "app/panels/fault_alerts.h"

#include <cstdio>

namespace keldane {
namespace {

const char* titleOf(Fault::About about) {
  switch (about) {
    case Fault::About::server:
      return "SQL Error";
    case Fault::About::archive:
      return "No archive";
    case Fault::About::settings:
      return "Settings";
    case Fault::About::schedule:
      return "Schedule";
  }
  return "";
}

}  // namespace

Alert alertOf(const Fault& fault) {
  return {titleOf(fault.about), fault.text, AlertStyle::critical, {"OK"}};
}

void showFaults(const Faults& faults, const ProcessState& process, UserInterface& ui) {
  for (const Fault& fault : faults) {
    if (fault.about == Fault::About::settings && process.unattendedRun != 0) {
      std::fprintf(stderr, "%s\n", fault.text.c_str());
    } else {
      ui.alert(alertOf(fault));
    }
  }
}

}  // namespace keldane
