#include "binding.h"

PYBIND11_MODULE(_kivmime, module) {
    module.doc() = "Reads and writes mail.";
    module.attr("__version__") = KIVMIME_VERSION;
    Binding::AddErrors(module);
    Binding::AddAddresses(module);
    Binding::AddReport(module);
    Binding::AddEntity(module);
    Binding::AddMail(module);
    Binding::AddFolder(module);
    Binding::AddComposer(module);
    Binding::AddEdit(module);
}
