// Subcommands of the qel tool. Each takes the arguments after its name and returns the
// process exit code.
#pragma once

#include <string>
#include <vector>

namespace qel_tool {

using arguments = std::vector<std::string>;

int run_demo(const arguments& args);
int run_compress(const arguments& args);
int run_decompress(const arguments& args);
int run_convert(const arguments& args);
int run_translit(const arguments& args);
int run_date(const arguments& args);

} // namespace qel_tool
