#pragma once

#include <string>

#include "app/panels/output_frame.h"

namespace keldane {

/// The controls of `addressesPanel`.
struct AddressesForm {
  bool fromAddsCheck = false;
  bool toAddsCheck = false;
};

/// The menu of what is exported of the list for other programs to read. A file that could not be
/// written whole is told of, and does not stand under its name. Main thread.
class ExportPanel {
 public:
  explicit ExportPanel(const OutputFrame& frame) : frame_(frame) {}

  void exportTab();
  void exportComma();
  void exportMbox();
  /// Opens `addressesPanel`, whose button is `saveAddresses`.
  void exportAddresses();
  void saveAddresses();

  AddressesForm form;
  std::string exportFilePath;  ///< chosen last

 private:
  struct Action;
  void run(const Action& action);

  const OutputFrame& frame_;
};

}  // namespace keldane
