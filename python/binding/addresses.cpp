#include <string>

#include "binding.h"
#include "mime/mail/address.h"

namespace Binding {

using MIME::Address;
using MIME::AddressList;

namespace {

const Address& GetAt(const AddressList& list, py::ssize_t index) {
    const auto size = static_cast<py::ssize_t>(list.size());
    if (index < 0) index += size;
    if (index < 0 || index >= size) throw py::index_error("no such address");
    return list[static_cast<size_t>(index)];
}

py::iterator Iterate(const AddressList& list) {
    py::list addresses;
    for (const Address& address : list) addresses.append(address);
    return py::iter(addresses);
}

py::list GetProblems(const AddressList& list) {
    py::list problems;
    for (const AddressList::Problem& problem : list.GetProblems()) {
        problems.append(py::make_tuple(ToStr(problem.text), problem.offset, ToStr(problem.why)));
    }
    return problems;
}

void AddAddress(py::module_& module) {
    py::class_<Address>(module, "Address", "A mailbox: its name for people, and its address.")
        .def_property_readonly(
            "name", [](const Address& self) { return ToStr(self.GetName()); },
            "The display name, decoded; '' when there is none.")
        .def_property_readonly(
            "address", [](const Address& self) { return ToStr(self.GetAddress()); },
            "'local@domain', never empty; without '@' in local mail.")
        .def_property_readonly(
            "group", [](const Address& self) { return ToStr(self.GetGroup()); },
            "The name of the group that it is in, else ''.")
        .def("__str__", [](const Address& self) { return ToStr(self.GetStr()); })
        .def("__repr__",
             [](const Address& self) {
                 return py::str("<kivmime.Address {!r}>").format(ToStr(self.GetStr()));
             })
        .def(
            "__eq__", [](const Address& a, const Address& b) { return a == b; }, py::is_operator())
        .def("__hash__", [](const Address& self) { return py::hash(ToStr(self.GetAddress())); });
}

void AddList(py::module_& module) {
    py::class_<AddressList>(module, "AddressList",
                            "The addresses of a field, as a sequence; str() writes the field.")
        .def("__len__", &AddressList::size)
        .def("__getitem__", &GetAt, py::return_value_policy::copy)
        .def("__iter__", &Iterate)
        .def_property_readonly("groups", &AddressList::GetGroups,
                               "The names of all groups, in order, empty ones too.")
        .def_property_readonly("problems", &GetProblems,
                               "What gave no address: tuples of text, offset and reason.")
        .def("__str__", [](const AddressList& self) { return ToStr(self.GetStr()); })
        .def("__repr__",
             [](const AddressList& self) {
                 return py::str("<kivmime.AddressList {!r}>").format(ToStr(self.GetStr()));
             })
        .def(
            "__eq__", [](const AddressList& a, const AddressList& b) { return a == b; },
            py::is_operator());
}

}  // namespace

void AddAddresses(py::module_& module) {
    AddAddress(module);
    AddList(module);
    module.def("parse_addresses", &AddressList::Parse, py::arg("value"),
               "Reads the value of an address field (str or bytes). Never fails: see problems.");
}

}  // namespace Binding
