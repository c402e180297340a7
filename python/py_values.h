// Script values to Python and back, and the module's exception types.
#pragma once

#include "host/ScriptValue.h"

#include <pybind11/pybind11.h>

#include <memory>

namespace wkpy {

namespace py = pybind11;

struct SceneState;

// What a Python value means to the script: None is undefined, bool a boolean, int an integer,
// float a float, str a string, list or tuple an array, BitArray a BitArray, Node and
// Controller themselves. With `interval` (the argument is declared an interval), a tuple or
// list of two ints is an interval in ticks.
Value toValue(const py::handle& object, bool interval = false);
// The script value as Python: arrays as lists, BitArray as wkcache.BitArray, names as strings,
// intervals as (start, end), times as int ticks, nodes and controllers as module objects of
// `scene`.
py::object fromValue(const Value& value, const std::shared_ptr<SceneState>& scene);

std::string utf8(const WStr& text);
WStr wide(const std::string& text);

// Python's exceptions of the module, created at import.
extern PyObject* ScriptErrorType;
extern PyObject* CacheErrorType;

// Registers BitArray on the module.
void bindValues(py::module_& m);

} // namespace wkpy
