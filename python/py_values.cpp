#include "python/py_values.h"

#include "host/INode.h"
#include "host/Reference.h"
#include "python/py_scene.h"

#include <pybind11/stl.h>

namespace wkpy {

PyObject* ScriptErrorType = nullptr;
PyObject* CacheErrorType = nullptr;

std::string utf8(const WStr& text) {
    return text.ToCStr().str();
}

WStr wide(const std::string& text) {
    return WStr::FromUTF8(text);
}

namespace {

// The 1-based indices of the set bits.
std::vector<int> setIndices(const BitArray& bits) {
    std::vector<int> out;
    for (int i = 0; i < bits.GetSize(); ++i)
        if (bits[i])
            out.push_back(i + 1);
    return out;
}

BitArray fromIndices(const py::iterable& indices) {
    Value::Array items;
    for (const py::handle& item : indices)
        items.push_back(Value(item.cast<std::int32_t>()));
    return Value(std::move(items)).toBitArray();
}

} // namespace

Value toValue(const py::handle& o, bool interval) {
    // Two ticks are an interval only where one is declared: anywhere else a tuple of two
    // integers is two indices, like a tuple of three.
    if (interval && (py::isinstance<py::tuple>(o) || py::isinstance<py::list>(o)) &&
        py::len(o) == 2) {
        const py::sequence ends = py::reinterpret_borrow<py::sequence>(o);
        if (py::isinstance<py::int_>(ends[0]) && py::isinstance<py::int_>(ends[1]))
            return Value(Interval(ends[0].cast<TimeValue>(), ends[1].cast<TimeValue>()));
    }
    if (o.is_none())
        return Value();
    if (py::isinstance<py::bool_>(o))
        return Value(o.cast<bool>());
    if (py::isinstance<py::int_>(o))
        return Value(o.cast<std::int32_t>());
    if (py::isinstance<py::float_>(o))
        return Value(o.cast<double>());
    if (py::isinstance<py::str>(o))
        return Value(wide(o.cast<std::string>()));
    if (py::isinstance<BitArray>(o))
        return Value(o.cast<BitArray>());
    if (py::isinstance<NodeRef>(o))
        return Value(o.cast<NodeRef&>().node);
    if (py::isinstance<ControllerRef>(o))
        return Value(ScriptController{o.cast<ControllerRef&>().control});
    if (py::isinstance<py::list>(o) || py::isinstance<py::tuple>(o)) {
        Value::Array items;
        for (const py::handle& item : o)
            items.push_back(toValue(item));
        return Value(std::move(items));
    }
    throw py::type_error("wkcache: no script value for " +
                         py::str(py::type::of(o)).cast<std::string>());
}

py::object fromValue(const Value& v, const std::shared_ptr<SceneState>& scene) {
    if (v.isUndefined())
        return py::none();
    if (v.is<std::int32_t>())
        return py::int_(v.get<std::int32_t>());
    if (v.is<float>())
        return py::float_(v.get<float>());
    if (v.is<bool>())
        return py::bool_(v.get<bool>());
    if (v.is<WStr>())
        return py::str(utf8(v.get<WStr>()));
    if (v.is<ScriptName>())
        return py::str(utf8(v.get<ScriptName>().text));
    if (v.is<ScriptTime>())
        return py::int_(v.get<ScriptTime>().ticks);
    if (v.is<Interval>())
        return py::make_tuple(v.get<Interval>().Start(), v.get<Interval>().End());
    if (v.is<INode*>())
        return v.get<INode*>() ? py::cast(NodeRef{scene, v.get<INode*>()}) : py::none();
    if (v.is<ScriptController>())
        return py::cast(ControllerRef{scene, v.get<ScriptController>().control});
    if (v.is<BitArray>())
        return py::cast(v.get<BitArray>());
    py::list items;
    for (const Value& item : v.get<Value::Array>())
        items.append(fromValue(item, scene));
    return items;
}

void bindValues(py::module_& m) {
    py::class_<BitArray>(m, "BitArray",
                         R"(A set of element indices, shown 1-based as the script shows it.

Iterating yields the 1-based indices of the set bits; ``size`` is the number of bits, set or
not; ``len()`` the number of set bits. Built from 1-based indices: ``BitArray([1, 3])`` holds
the elements that ``getElementNames`` lists as 0 and 2.)")
        .def(py::init<>())
        .def(py::init(&fromIndices), py::arg("indices"),
             "A BitArray with the bits of these 1-based indices set, sized to the largest.")
        .def_property_readonly("size", &BitArray::GetSize, "The number of bits, set or not.")
        .def("__len__", &BitArray::NumberSet)
        .def("__iter__", [](const BitArray& b) { return py::iter(py::cast(setIndices(b))); })
        .def("__contains__",
             [](const BitArray& b, int index) {
                 return index >= 1 && index <= b.GetSize() && b[index - 1] != 0;
             })
        .def("__eq__",
             [](const BitArray& a, const BitArray& b) { return setIndices(a) == setIndices(b); })
        .def("__repr__", [](const BitArray& b) { return utf8(Value(b).ToScriptText()); })
        .def("to_list", &setIndices, "The 1-based indices of the set bits.");
}

} // namespace wkpy
