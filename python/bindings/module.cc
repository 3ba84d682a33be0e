// SPDX-License-Identifier: MIT
// The module tovkit._tovkit. The package beside it is what people import.
#include "bindings.h"
#include "errors.h"

#include <tovkit/util.h>

PYBIND11_MODULE(_tovkit, module) {
  pybind11::options options;
  // The texts begin with signatures that inspect understands.
  options.disable_function_signatures();
  module.doc() = "The compiled part of the package tovkit.";
  module.attr("__version__") = tovkit::GetLibraryVersion();
  python::TranslateErrors();
  python::BindImage(module);
  python::BindPath(module);
  python::BindHits(module);
  python::BindDrawing(module);
  python::BindBase64(module);
  python::BindLists(module);
  python::BindBatch(module);
}
