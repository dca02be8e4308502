#pragma once

namespace keldane {

/// Whether the program has been started to make PDFs, without a screen.
[[nodiscard]] bool wantsPdf(int argc, char** argv);
/// What must stand before the QApplication of such a start.
void preparePdfProgram();

/// Makes PDFs of the messages whose ids stand in the arguments or, one a line, on standard input:
///
///     KeldanePro --export-pdf=FILE|FOLDER/|- [--text] [--connection NAME] [--database NAME]
///     [ID...]
///
/// Prints the number of messages done, a line each, unless the PDF itself goes to standard output.
/// What fails is a line "KeldanePro: ..." on standard error. An interrupt ends it after the message
/// at hand. Answers the exit status: 0, 1 for a failure, 2 for arguments that make no sense, 130
/// for an interrupt.
[[nodiscard]] int runPdfProgram(int argc, char** argv);

}  // namespace keldane
