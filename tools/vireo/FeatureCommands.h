// The commands that list cameras and read or write their features and description file.
#ifndef VIREO_TOOL_FEATURECOMMANDS_H
#define VIREO_TOOL_FEATURECOMMANDS_H

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace VireoTool {

class OpenCamera;

// Every camera on every interface as an aligned table.
int ListDevices(std::ostream& out);

// The camera's feature tree, categories indented, with type, access mode and value; with a
// filter, only the features whose names contain it (case-insensitive) and their categories.
int ListFeatures(const std::string& serial, const std::string& filter, std::ostream& out);

// Prints NAME=VALUE for each feature.
int GetFeatures(const std::string& serial, const std::vector<std::string>& names, std::ostream& out);

// Sets each NAME=VALUE in order and prints the value read back; stops at the first failure.
// A command feature is executed by the value "execute".
int SetFeatures(const std::string& serial, const std::vector<std::string>& assignments, std::ostream& out);

// Splits "NAME=VALUE"; a UsageError for anything else.
std::pair<std::string, std::string> ParseAssignment(const std::string& assignment);

// Sets one feature from its text, with the checks and messages of `vireo set`.
void SetFeature(OpenCamera& camera, const std::string& name, const std::string& value);

// Writes the camera's description file to outFile, or to "<serial>.xml" when it is empty.
int WriteDescription(const std::string& serial, const std::string& outFile, std::ostream& out);

} // namespace VireoTool

#endif
