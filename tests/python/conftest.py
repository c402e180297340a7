"""Fixtures of the Python module's tests: a scene whose cache object has recorded three boxes."""
import os
import pathlib

import pytest

import wkcache

SOURCE = pathlib.Path(os.environ.get("WKCACHE_SOURCE_DIR", pathlib.Path(__file__).parents[2]))
SCENES = SOURCE / "tests" / "cli" / "scenes"
CORPUS = SOURCE / "tests" / "fuzz" / "corpus"


def pytest_sessionfinish(session, exitstatus):
    # A run that collects nothing has lost its tests: that is a failure, said out loud.
    if exitstatus == pytest.ExitCode.NO_TESTS_COLLECTED:
        print("\nwkcache: no Python tests were collected")
        session.exitstatus = pytest.ExitCode.TESTS_FAILED


@pytest.fixture
def recorded(tmp_path):
    """(scene, cache object) after recording falling_boxes.json into tmp_path/boxes.wkc."""
    scene = wkcache.Scene(str(SCENES / "falling_boxes.json"))
    obj = scene.cache_objects[0]
    assert obj.fns.record(fileName=str(tmp_path / "boxes")) is True
    return scene, obj
