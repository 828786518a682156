#pragma once

#include <string>
#include <string_view>

// Helpers over raw bytes (held in std::string) and file descriptors.

void appendString(std::string& data, std::string_view text);
// Removes an HTTP header block ending in "\r\n\r\n" found within the first
// 511 bytes (up to the first NUL byte); otherwise leaves the data as they are.
void stripHeaders(std::string& data);
// Writes all of the text; returns whether every byte was written.
bool writeString(int fd, std::string_view text);
