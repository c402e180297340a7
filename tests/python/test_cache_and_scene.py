"""wkcache.Cache and the scene's objects: numpy arrays, the info facts, parameters."""
import json
import os
import subprocess

import numpy as np
import pytest

import wkcache
from conftest import CORPUS


def test_cache_matches_the_tool():
    path = str(CORPUS / "v3_block.wkc")
    cache = wkcache.Cache(path)
    tool = os.environ.get("WKCACHE_TOOL")
    if tool:
        printed = subprocess.run([tool, "info", "--json", path], capture_output=True, check=True)
        assert cache.info == json.loads(printed.stdout)
    assert cache.element_names == [n["name"] for n in cache.info["nodes"]]
    for s in range(cache.num_samples):
        tms, vis = cache.transforms(s), cache.visibility(s)
        assert tms.dtype == np.float32 and tms.shape == (cache.num_elements, 4, 3)
        assert vis.dtype == np.uint8 and vis.shape == (cache.num_elements,)
    mesh = cache.mesh(0)
    assert mesh["vertices"].shape == (cache.info["nodes"][0]["numVerts"], 3)
    with pytest.raises(IndexError):
        cache.transforms(cache.num_samples)


@pytest.mark.parametrize("name, code, text", [
    ("truncated_geometry.wkc", 3, "Read past EOF."),
    ("bad_magic.wkc", None, None),
])
def test_cache_errors(name, code, text):
    with pytest.raises(wkcache.CacheError) as raised:
        wkcache.Cache(str(CORPUS / name))
    assert raised.value.code != 0
    if code is not None:
        assert (raised.value.code, raised.value.status_text) == (code, text)


def test_object_mesh_and_params(recorded, tmp_path):
    scene, obj = recorded
    assert obj.params["fileName"].endswith("boxes.wkc")
    obj.params["playStart"] = 10
    assert obj.params["playStart"] == 10
    assert isinstance(obj.params[8], int) and isinstance(obj.params["vpBoxMode"], bool)
    with pytest.raises(KeyError):
        obj.params["scaleUnitsFrom"]
    mesh = obj.mesh(scene.ticks_per_frame * 20)
    assert mesh["vertices"].dtype == np.float32 and mesh["vertices"].shape[1] == 3
    assert mesh["faces"].dtype == np.int32 and mesh["faces"].max() < len(mesh["vertices"])
    assert len(mesh["material_ids"]) == len(mesh["faces"]) == len(mesh["hidden"])
    assert scene.node("Recorder").object.node == scene.node("Recorder")


# The JSON form cannot name the recorded scene's two materials alike: refused, and nothing written.
@pytest.mark.parametrize("name, refused", [("shot.wks", None), ("shot.JSON", "the JSON form")])
def test_saved_scene_loads_the_same(recorded, tmp_path, name, refused):
    scene, obj = recorded
    obj.fns.addGroup("A")
    obj.fns.setGroupElements("A", [2])
    if refused:
        with pytest.raises(ValueError, match=refused):
            scene.save(str(tmp_path / name))
        assert not (tmp_path / name).exists()
        return
    scene.save(str(tmp_path / name))
    again = wkcache.Scene(str(tmp_path / name)).cache_objects[0]
    assert list(again.fns.getGroupElements("A")) == [2]
    t = 10 * scene.ticks_per_frame
    assert np.array_equal(again.mesh(t)["vertices"], obj.mesh(t)["vertices"])
