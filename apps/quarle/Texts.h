// Texts: the messages of a results log, as the interface texts say them.
//
// The texts are the file "interfacetext.grole" that belongs to this program, loaded when the first
// message is shown. A program without one shows keys and what they are about.

#pragma once

#include <string>

#include "apps/quarle/Output.h"

class JsonWriter;
class ResultsLog;
struct ResultEntry;

/// The message as its user reads it, fit for a line of output.
std::string MessageText(const ResultEntry& entry);

/// Prints the entries of an operation: what was done on standard output, unless quiet or in JSON,
/// the rest on standard error. True when one of them says why the operation failed, if it did.
bool PrintMessages(const ResultsLog& log, bool done, const CommonOptions& common);

/// The entries as the array "messages".
void WriteMessages(JsonWriter& json, const ResultsLog& log);
