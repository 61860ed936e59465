// The extension module vq_corelog._core. The package's Python code builds on it.
#include "bindings.h"

NB_MODULE(_core, m) {
    m.doc() = "Bindings of the vq_corelog library (use the package vq_corelog instead).";
    vqpy::bindErrors(m);
    vqpy::bindFrames(m);
    vqpy::bindFiles(m);
    vqpy::bindLive(m);
    vqpy::bindColumns(m);
    vqpy::bindTables(m);
}
