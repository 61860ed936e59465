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
    nb::dict& classes = errorClasses();
    nb::object cls = classes.contains(class_name) ? nb::object(classes[class_name])
                                                  : nb::object(classes.get("EODError", nb::none()));
    if (cls.is_none()) {
        PyErr_SetString(PyExc_RuntimeError, message.c_str());
        return;
    }
    nb::object error = path ? cls(message, *path) : cls(message);
    PyErr_SetObject(cls.ptr(), error.ptr());
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
