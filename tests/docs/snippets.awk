# SPDX-License-Identifier: MIT
# Makes one C++ program of the examples in headers (\code to \endcode) and in pages (```cpp, unless a comment above names
# the file that the block repeats). Compiler messages point at where the example stands.
BEGIN {
  print "#include <tovkit/tovkit.h>"
  print "#include <tovmx/device.h>"
  print "#include <tovmx/path_walk.h>"
  print "#include <tovmx/text_codec.h>"
  print "#include <unistd.h>"
  print "#include <algorithm>\n#include <cmath>\n#include <cstdio>\n#include <cstring>\n#include <fstream>\n#include <memory>\n#include <string>"
}
FNR == 1 { above = ""; inside = 0 }
!inside && (/^ *\/\/\/ \\code/ || (/^```cpp/ && above !~ /^<!-- /)) {
  inside = 1
  ++count
  printf "namespace snippet_%d {\nusing namespace tovkit;\nstatic void Run() {\n#line %d \"%s\"\n", count, FNR + 1, FILENAME
  next
}
inside && (/^ *\/\/\/ \\endcode/ || /^```$/) {
  inside = 0
  print "}\n}  // namespace"
  next
}
inside { sub(/^ *\/\/\/ ?/, ""); print }
{ above = $0 }
END {
  print "int main() {"
  for (i = 1; i <= count; ++i) printf "  snippet_%d::Run();\n", i
  print "  return 0;\n}"
}
