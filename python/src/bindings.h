// Shared pieces of the extension module vq_corelog._core: the frame wrapper, errors that carry
// a path, and the functions that add each group of bindings to the module.
#pragma once

#include <exception>
#include <string>
#include <utility>

#include <nanobind/nanobind.h>

#include "vq/corelog.h"

namespace vqpy {

namespace nb = nanobind;

// A frame held by Python. The frame is shared with every record object taken from it.
struct Frame {
    boost::shared_ptr<vq::eod::EngineOutputData> data;
};

// A library error raised while working on a file or a host: the library's class name, its
// message and the path (or "host:port") that Python reports with it.
struct PathError : std::exception {
    PathError(std::string class_name_, std::string message_, std::string path_)
        : class_name(std::move(class_name_)),
          message(std::move(message_)),
          path(std::move(path_)) {}
    std::string class_name;
    std::string message;
    std::string path;
    const char* what() const noexcept override { return message.c_str(); }
};

// Runs `work`, turning the library's errors into PathError for `path`.
template <class Work>
auto withPath(const std::string& path, Work&& work) -> decltype(work()) {
    try {
        return std::forward<Work>(work)();
    } catch (const vq::eod::EODError& error) {
        throw PathError(error.className(), error.what(), path);
    }
}

void bindErrors(nb::module_& m);
void bindFrames(nb::module_& m);
void bindFiles(nb::module_& m);
void bindLive(nb::module_& m);
void bindColumns(nb::module_& m);

}  // namespace vqpy
