// SPDX-License-Identifier: MIT
// The parts of the man page that no definition of an option tells.
#include "man_sections.h"

namespace reference {

const std::vector<ManSection> kManSections = {
    {"DESCRIPTIONS OF TEXT",
     {{ManEntry::kParagraph, "",
       "What draw reads is a JSON object for one line of text, an array of them for a page, or an array of "
       "such arrays for several pages. Every key may be left out."},
      {ManEntry::kTerm, "Content", "The text, UTF-8. Without it nothing is drawn."},
      {ManEntry::kTerm, "DeltaX, DeltaY",
       "Where the line starts, 96 units to the inch (default: 0). The baseline is FontSize units below "
       "DeltaY."},
      {ManEntry::kTerm, "Font", "An object of the keys that follow."},
      {ManEntry::kTerm, "FontSize", "Whole points (default: 26)."},
      {ManEntry::kTerm, "FontName",
       "A font family (default: SimSun). One that is not installed is replaced by the closest in kind; draw "
       "--verbose tells which."},
      {ManEntry::kTerm, "Bold, Italic", "true or false (default: false)."},
      {ManEntry::kTerm, "Color", "#gg, #rrggbb, #ccmmyykk, or 1, 3 or 4 numbers (default: black)."}}},
    {"EXAMPLES",
     {{ManEntry::kExample,
       "echo '{\"Content\": \"Hello\", \"Font\": {\"FontSize\": 36, \"Color\": \"#1F4E79\"}}' > "
       "hello.json\ntovkit draw hello.json -o hello.png",
       "Draw a line of text; the extension of the output is its format:"},
      {ManEntry::kExample, "tovkit draw --text Draft --font-size 72 --color '#C00000' -o draft.png",
       "Draw a line without a file:"},
      {ManEntry::kExample, "tovkit draw --text Seen --at 10,10 --over draft.png -o stamped.png",
       "Stamp a picture:"},
      {ManEntry::kExample, "tovkit draw hello.json -o hello.pdf --size A4",
       "The same on a page of A4 whose text can be searched:"},
      {ManEntry::kExample, "tovkit image hello.png -o hello.jpg --quality 80 --erase 0,0,20,10",
       "Turn a picture into another format, a corner of it blanked:"},
      {ManEntry::kExample, "tovkit image hello.png draft.png -o small/ --format jpg --resize 50%",
       "Halve the size of several pictures, into a folder:"},
      {ManEntry::kExample, "tovkit image --info hello.jpg", "Say what a picture is:"},
      {ManEntry::kExample, "tovkit json hello.json --get /Font/Color --raw",
       "Print one value of a JSON file:"},
      {ManEntry::kExample, "echo 'M0 0 H10 V10 H0 Z' | tovkit hit - --point 5,5 --fill",
       "Does a point touch a path?"},
      {ManEntry::kExample, "tovkit pages --count 12 '1,3-5,9'", "Which pages does a person mean?"},
      {ManEntry::kExample, "tovkit base64 hello.png > hello.txt\ntovkit base64 -d hello.txt > again.png",
       "To Base64 and back:"},
      {ManEntry::kExample,
       "echo '{\"id\": \"1\", \"draw\": {\"Content\": \"Hello\"}, \"out\": \"1.png\"}' > jobs.jsonl\n"
       "tovkit batch jobs.jsonl --directory out --results results.jsonl --resume",
       "Draw many pages, a job on each line, and go on where an earlier run ended:"},
      {ManEntry::kExample,
       "tovkit serve &\n"
       "curl -s --retry 9 --retry-connrefused --json '{\"Content\": \"Hello\"}' -o label.png \\\n"
       "  'http://127.0.0.1:8017/v1/draw?size=400x120'\n"
       "kill $!",
       "Draw over HTTP; the page at http://127.0.0.1:8017/ shows what there is:"},
      {ManEntry::kExample, "tovkit run --timeout 2m --kill-after 10s --stdout uname.txt -- uname -a",
       "Give a program two minutes, and all that it has started ten seconds more after TERM:"}}},
    {"EXIT STATUS",
     {{ManEntry::kTerm, "0", "The job is done."},
      {ManEntry::kTerm, "1", "It failed; one line on standard error says what and where."},
      {ManEntry::kTerm, "2", "The command line was wrong."},
      {ManEntry::kTerm, "3", "hit: the point does not touch the path."},
      {ManEntry::kTerm, "75", "batch: interrupted with jobs left to do."},
      {ManEntry::kTerm, "124 to 127, 128 + N",
       "run: the time was up, run itself failed, the program cannot be executed, it is not found, signal N "
       "ended it. Every other status is the program's own."}}},
    {"ENVIRONMENT",
     {{ManEntry::kTerm, "LC_ALL, LC_CTYPE, LANG",
       "The codeset of file names and of what is printed; the C locale counts as UTF-8."},
      {ManEntry::kTerm, "NO_COLOR", "When set, nothing is printed in color."},
      {ManEntry::kTerm, "PATH", "Where run looks for programs."},
      {ManEntry::kTerm, "SOURCE_DATE_EPOCH", "When set, the date that is written into pages."},
      {ManEntry::kTerm, "TMPDIR",
       "Where batch keeps its table of ids, in a file without a name (default: /tmp)."},
      {ManEntry::kTerm, "TOVKIT_JOB",
       "The worker program of batch and serve (default: libexec/tovkit/tovkit-job beside the library)."},
      {ManEntry::kTerm, "LISTEN_FDS, LISTEN_PID, NOTIFY_SOCKET",
       "How systemd passes a socket to serve, and hears that it is ready."},
      {ManEntry::kTerm, "TOVKIT_SIMD",
       "scalar, avx2 or avx512: the vector code to use. The results are the same."}}},
    {"FILES",
     {{ManEntry::kTerm, ".tovkit-*",
       "In the folder of an output, for the instant in which it replaces a file, or for longer where the "
       "file "
       "system has no files without a name. What a killed run leaves there, the next to the same output "
       "removes."},
      {ManEntry::kTerm, "share/tovkit/job.schema.json, result.schema.json",
       "JSON Schemas of the jobs that batch reads and the results that it writes."},
      {ManEntry::kTerm, "share/tovkit/openapi.json", "What serve answers, as OpenAPI 3.1 has it."}}},
    {"SEE ALSO",
     {{ManEntry::kPage, "base64", "(1),"},
      {ManEntry::kPage, "fc-list", "(1),"},
      {ManEntry::kPage, "ipcs", "(1),"},
      {ManEntry::kPage, "ps", "(1),"},
      {ManEntry::kPage, "timeout", "(1),"},
      {ManEntry::kPage, "fonts-conf", "(5),"},
      {ManEntry::kPage, "proc", "(5),"},
      {ManEntry::kPage, "svipc", "(7)"}}},
};

}  // namespace reference
