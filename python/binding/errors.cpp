#include "errors.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include "kivgui/ansi_str.h"
#include "kivgui/error.h"

// The library's errors as exceptions. Its system codes are turned back into the numbers that OSError chooses
// its class by, and the name of the file is cut off the text, which always begins with it.

namespace Binding {

namespace {

PyObject* errorClass = nullptr;  ///< kivmime.Error, which lives as long as the process

constexpr struct {
    uint32_t code;
    int number;
} kNumbers[] = {
    {KivGuiBase::kErrorInvalidFunction, EINVAL},   {KivGuiBase::kErrorFileNotFound, ENOENT},
    {KivGuiBase::kErrorPathNotFound, ENOTDIR},     {KivGuiBase::kErrorTooManyOpenFiles, EMFILE},
    {KivGuiBase::kErrorAccessDenied, EACCES},      {KivGuiBase::kErrorInvalidHandle, EBADF},
    {KivGuiBase::kErrorWriteProtect, EROFS},       {KivGuiBase::kErrorGeneralFailure, EIO},
    {KivGuiBase::kErrorNotSupported, ENOTSUP},     {KivGuiBase::kErrorFileExists, EEXIST},
    {KivGuiBase::kErrorInvalidParameter, EINVAL},  {KivGuiBase::kErrorBrokenPipe, EPIPE},
    {KivGuiBase::kErrorDiskFull, ENOSPC},          {KivGuiBase::kErrorBusy, EBUSY},
    {KivGuiBase::kErrorNameTooLong, ENAMETOOLONG}, {KivGuiBase::kErrorFileTooLarge, EFBIG},
    {KivGuiBase::kErrorOperationAborted, EINTR},   {KivGuiBase::kErrorIoDevice, EIO},
    {KivGuiBase::kErrorQuotaExceeded, ENOSPC},     {KivGuiBase::kErrorCantResolveName, ELOOP},
};

/// 0 for what is no failure of a file, such as a key that cannot be read.
int FindNumber(uint32_t systemCode) {
    for (const auto& row : kNumbers) {
        if (row.code == systemCode) return row.number;
    }
    return 0;
}

/// The name that the text begins with; empty when there is none.
std::string CutName(const MIME::Error& error) {
    const KivGuiBase::AnsiStr message = KivGuiBase::GetErrorMessage(error.GetSystemCode(), 0, 0);
    const std::string reason = ": " + std::string(std::string_view(message));
    std::string text = error.GetText();
    if (!text.ends_with(reason)) return {};
    text.resize(text.size() - reason.size());
    // "Could not create message signature: key.pem"
    if (error.GetCode() == MIME::ErrorCode::cannotSign) text.erase(0, text.find(": ") + 2);
    return text;
}

py::object MakeOsError(const MIME::Error& error, int number) {
    const std::string name = CutName(error);
    std::error_code ignored;
    const bool isRefused = number == EACCES || number == EINVAL;
    if (isRefused && std::filesystem::is_directory(name, ignored)) number = EISDIR;
    const py::handle type(PyExc_OSError);
    if (name.empty()) return type(number, ToStr(error.GetText()));
    return type(number, std::generic_category().message(number), ToStr(name));
}

const char* GetName(MIME::ErrorCode code) {
    switch (code) {
#define MIME_ERROR(name, text)  \
    case MIME::ErrorCode::name: \
        return #name;
#include "mime/mail/errors.inc"
    }
    return "";
}

}  // namespace

py::object MakeException(const MIME::Error& error) {
    const uint32_t code = error.GetSystemCode();
    if (code == KivGuiBase::kErrorNotEnoughMemory || code == KivGuiBase::kErrorOutOfMemory) {
        return py::handle(PyExc_MemoryError)(ToStr(error.GetText()));
    }
    if (const int number = FindNumber(code); number != 0) return MakeOsError(error, number);
    py::object made = py::handle(errorClass)(ToStr(error.GetText()));
    made.attr("code") = GetName(error.GetCode());
    made.attr("offset") = error.GetOffset();
    made.attr("path") = ToStr(error.GetEntityPath());
    return made;
}

void Raise(const MIME::Error& error) {
    const py::object made = MakeException(error);
    PyErr_SetObject(py::type::handle_of(made).ptr(), made.ptr());
    throw py::error_already_set();
}

void AddErrors(py::module_& module) {
    errorClass = PyErr_NewExceptionWithDoc(
        "kivmime.Error",
        "Why a message cannot be read, written or changed.\n\n"
        "code: the name of the reason, such as 'tooManyParts'; docs/errors.md lists them.\n"
        "offset: where the text that was read is at fault, in bytes.\n"
        "path: the entity at fault; '' is the top, '2.1' the first child of its second.",
        PyExc_ValueError, nullptr);
    if (errorClass == nullptr) throw py::error_already_set();
    module.attr("Error") = py::handle(errorClass);
}

}  // namespace Binding
