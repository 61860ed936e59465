// Library errors as Python exceptions. The classes live in vq_corelog/_errors.py; the package
// hands them to set_error_classes() when it is imported, keyed by the library's class names.
#include "bindings.h"

namespace vqpy {

namespace {

nb::dict& errorClasses() {
    static nb::dict* classes = new nb::dict();  // lives as long as the interpreter
    return *classes;
}

void raise(const char* class_name, const std::string& message, const std::string* path) {
    PyObject* classes = errorClasses().ptr();
    PyObject* cls = PyDict_GetItemString(classes, class_name);  // borrowed
    if (cls == nullptr) {
        cls = PyDict_GetItemString(classes, "EODError");
    }
    if (cls == nullptr) {
        PyErr_SetString(PyExc_RuntimeError, message.c_str());
        return;
    }
    nb::object text =
        nb::steal(PyUnicode_DecodeUTF8(message.data(), Py_ssize_t(message.size()), "replace"));
    nb::object where =
        path != nullptr
            ? nb::steal(PyUnicode_DecodeUTF8(path->data(), Py_ssize_t(path->size()), "replace"))
            : nb::none();
    PyObject* error = PyObject_CallFunctionObjArgs(cls, text.ptr(), where.ptr(), nullptr);
    if (error == nullptr) {
        return;  // the call's own error stands
    }
    PyErr_SetObject(cls, error);
    Py_DECREF(error);
}

}  // namespace

void bindErrors(nb::module_& m) {
    m.def(
        "set_error_classes", [](nb::dict classes) { errorClasses() = std::move(classes); },
        "Sets the exception class for each library error class name (used by the package).");
    nb::register_exception_translator([](const std::exception_ptr& pointer, void*) {
        try {
            std::rethrow_exception(pointer);
        } catch (const PathError& error) {
            raise(error.class_name.c_str(), error.message, &error.path);
        } catch (const vq::eod::EODError& error) {
            raise(error.className(), error.what(), nullptr);
        }
    });
}

}  // namespace vqpy
