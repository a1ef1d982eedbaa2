// Files for the tests: temporary ones, and the samples.
#pragma once

#include <string>
#include <vector>

// A new file with these bytes, named "<unique>/<name>"; removed when the program ends.
std::string TempFile(const std::string &strName, const std::string &strBytes);

std::string ReadWholeFile(const std::string &strPath);

// Every file below samples/ whose name ends in the extension.
std::vector<std::string> SampleFiles(const std::string &strExtension);

// Each code below 256 as a UTF-16 pair.
std::string Utf16(const std::string &strText, bool bBigEndian);
