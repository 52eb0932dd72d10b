// Names of a catalogue that become names of C++, of files and of languages.
#pragma once

#include <string>
#include <string_view>

namespace zmu_tools {

/// Letters, digits and single underscores, of which none is at the end.
bool isIdentifier(std::string_view name);

/// Whether an identifier means something else where the header is included: a keyword, a macro, or
/// what the header itself declares beside the situations.
bool isReserved(std::string_view name);

/// A name that a function, a parameter or a member of the header can have.
bool isFunctionName(std::string_view name);

/// Name of the class that records the arguments of a situation.
std::string recorderName(std::string situation);

/// One or more names with "::" between them that can be a namespace. The first is none that the
/// headers of the C library, of the system or of this library declare.
bool isNameSpace(std::string_view name);

/// A name that a file can have anywhere, and that can stand in a comment and a literal of C++.
bool isFileName(std::string_view name);

/// A language such as "en" or "pt-BR".
bool isLanguage(std::string_view tag);

} // namespace zmu_tools
