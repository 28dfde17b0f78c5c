// The parameters of a part as the library lists them ("attribute=value", quotes kept), and the name
// that they give it.
#ifndef TOOLS_QOB_PARAMETERS_H
#define TOOLS_QOB_PARAMETERS_H

#include <optional>
#include <string>
#include <vector>

#include <qob3xapi/mimeparse.h>

namespace cli {

struct Parameter {
  std::string attribute;  // as written
  std::string value;      // without quotes and their escapes
};

std::vector<Parameter> ParametersOf(const ms* chain);

// The value of a parameter in UTF-8 where its character set is known: the extended form
// (attribute*), continuations (attribute*0, attribute*1*), the plain form, with encoded words
// decoded.
std::optional<std::string> ParameterText(const std::vector<Parameter>& parameters,
                                         const std::string& attribute);

// The name of a part: the file name of its disposition, else the name of its type; empty when it
// has none.
std::string NameFromHeader(const MimeBodyPart& part);

}  // namespace cli

#endif
