// The Python module wkcache: cache files, headless scenes and the script interface of cache
// objects, for scripts and tests.
#include "host/OutOfRangeException.h"
#include "host/ScriptError.h"
#include "python/py_scene.h"
#include "python/py_values.h"

#include <pybind11/eval.h>

namespace py = pybind11;

PYBIND11_MODULE(wkcache, m) {
    m.doc() = R"(wkcache: geometry caches for 3D animation, from Python.

A cache file (.wkc) holds recorded nodes: one mesh each, a transform and visibility byte per
node per sample, and optionally deformed vertex positions. Each recorded node is an element.

- Cache(path): a cache file read-only: its facts, element names, transforms and visibility per
  sample, and each element's mesh, as numpy arrays.
- Scene(path=None): a headless host with a scene, empty or from a JSON or binary scene file;
  its nodes, clock and undo history; save(path) writes it back. A scene's CacheObject plays a cache as one mesh: ``params`` by
  internal name, ``mesh(time)`` as numpy arrays, and ``fns``, the script interface
  WK_Cache_Fns with its own function and property names.
- BitArray: element sets as the script shows them, 1-based.
- ScriptError: a script function's error, with the script's text.
- CacheError: a cache file the reader cannot read; .status_text and .code.

Times are host ticks, 4800 a second. getElementNames numbers elements from 0; every other
function takes and gives element numbers from 1.

Example::

    import wkcache
    scene = wkcache.Scene()
    obj = scene.add_cache_object("Debris", file="debris.wkc")
    obj.fns.addGroup("Late")
    obj.fns.setGroupElements("Late", [1, 2])
    obj.fns.setGroupMode("Late", "delay")
    obj.fns.setGroupDelay("Late", 10.0)
    mesh = obj.mesh(scene.time)
)";

    wkpy::ScriptErrorType = PyErr_NewExceptionWithDoc(
        "wkcache.ScriptError",
        "Raised by a script function with the script's error text, e.g. \"No group with that "
        "name exists\". The object is as it was before the call.",
        PyExc_RuntimeError, nullptr);
    m.add_object("ScriptError", py::handle(wkpy::ScriptErrorType));

    // CacheError(status_text, code): the reader's status text and numeric status.
    py::exec(R"py(
class CacheError(Exception):
    """A cache file the reader cannot read: status_text is the reader's text, code its status."""
    def __init__(self, status_text, code):
        super().__init__(f"{status_text} (status {code})")
        self.status_text = status_text
        self.code = code
)py",
             m.attr("__dict__"));
    m.attr("CacheError").attr("__module__") = "wkcache";
    wkpy::CacheErrorType = m.attr("CacheError").ptr();
    Py_INCREF(wkpy::CacheErrorType);

    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p)
                std::rethrow_exception(p);
        } catch (const ScriptError& e) {
            PyErr_SetString(wkpy::ScriptErrorType, e.what());
        } catch (const MaxSDK::Util::OutOfRangeException& e) {
            PyErr_SetString(PyExc_IndexError, e.what());
        }
    });

    wkpy::bindValues(m);
    wkpy::bindScene(m);
    wkpy::bindCache(m);
}
