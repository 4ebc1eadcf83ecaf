#pragma once

#include <string>

// The translation of a user-visible text in a translation context, as UTF-8.
// Callers keep the result in a function-local static so that each text is
// translated once, at first use.
std::string Translate(const char* context, const char* text);
