"""WK_Cache_Fns through Python: index conventions, error texts, undo, and the listener."""
import pytest

from conftest import SCENES

import wkcache

NO_GROUP = "No group with that name exists"
BAD_MODE = ("Invalid mode, expected one of : #delete, #holdin, #holdout, #delay, #setframe, "
            "#setmatid")


@pytest.fixture
def empty():
    scene = wkcache.Scene()
    return scene, scene.add_cache_object("Empty")


@pytest.mark.parametrize("name, written", [
    ("boxes", "boxes.wkc"),
    ("boxes.WKC", "boxes.WKC"),  # the extension is compared in lower case
    (".wkc", ".wkc.wkc"),        # four characters are not a name with an extension
    ("b.wkcx", "b.wkcx.wkc"),
])
def test_record_file_name(tmp_path, monkeypatch, name, written):
    monkeypatch.chdir(tmp_path)
    scene = wkcache.Scene(str(SCENES / "falling_boxes.json"))
    obj = scene.cache_objects[0]
    assert obj.fns.record(fileName=name)
    assert sorted(p.name for p in tmp_path.iterdir() if p.suffix != ".mat") == [written]


def test_without_a_file(empty):
    _, obj = empty
    assert obj.fns.getElementNames(pattern="*") == []
    assert obj.fns.getElementSelection().size == 0
    assert obj.fns.version == pytest.approx(1.02)
    assert obj.fns.fileVersion == 3
    assert (obj.fns.cacheNumNodes, obj.fns.cacheEnd, obj.fns.cacheHasVisibility) == (0, 0, False)
    obj.fns.addGroup("A")
    assert obj.fns.setGroupElements("A", [1]) is False  # no reader to size the set against


def test_element_names_and_selection(recorded):
    scene, obj = recorded
    steps = len(scene.undo_steps)
    names = obj.fns.getElementNames()
    assert [i for i, _ in names] == [0, 1, 2]
    flag = [i for i, name in names if name == "Flag"]
    assert obj.fns.getElementNames(pattern="f*") == [[flag[0], "Flag"]]
    assert obj.fns.getElementNames(pattern="nothing") == []
    selected = obj.fns.setElementSelection([1, 3])
    assert list(selected) == [1, 3] and repr(selected) == "#{1, 3}"
    assert list(obj.fns.getElementSelection()) == [1, 3]
    # An index beyond the element count is ignored.
    assert list(obj.fns.setElementSelection([2, 99])) == [2]
    assert len(scene.undo_steps) == steps  # the selection joins a running hold, opens none
    assert obj.fns.cacheNumNodes == 3 and obj.fns.cacheHasVisibility is True


def test_group_mode_and_errors(recorded):
    _, obj = recorded
    assert obj.fns.addGroup("A")
    assert obj.fns.setGroupMode("A", "DELETE") is True
    assert obj.fns.getGroupMode("A") == "delete"
    for call, text in [
        (lambda: obj.fns.setGroupMode("none", "bad"), BAD_MODE),  # the mode is checked first
        (lambda: obj.fns.setGroupMode("none", "delete"), NO_GROUP),
        (lambda: obj.fns.getGroupEnabled("none"), NO_GROUP),
        (lambda: obj.fns.setSelectedGroup("none"), NO_GROUP),
        (lambda: obj.fns.getGroupMatID("none"), NO_GROUP),
    ]:
        with pytest.raises(wkcache.ScriptError) as raised:
            call()
        assert str(raised.value) == text
    assert obj.fns.deleteGroup("none") is False


@pytest.mark.parametrize("mat_id, error", [
    (0, "Material ID out of range (1-99) < 1 or > 99: 0"),
    (1, None),
    (99, None),
    (100, "Material ID out of range (1-99) < 1 or > 99: 100"),
    (120, "Material ID out of range (1-99) < 1 or > 99: 120"),
])
def test_material_id_range(recorded, mat_id, error):
    _, obj = recorded
    obj.fns.addGroup("A")
    if error:
        with pytest.raises(wkcache.ScriptError, match=r"^" + error.replace("(", r"\(")
                           .replace(")", r"\)") + "$"):
            obj.fns.setGroupMatID("A", mat_id)
        assert obj.fns.getGroupMatID("A") == 1
    else:
        assert obj.fns.setGroupMatID("A", mat_id) is True
        assert obj.fns.getGroupMatID("A") == mat_id


def test_groups_and_their_elements(recorded):
    _, obj = recorded
    assert obj.fns.addGroup("A") and obj.fns.addGroup("B")
    assert obj.fns.getSelectedGroup() == "B"
    assert obj.fns.setSelectedGroup("B") is False
    assert obj.fns.setSelectedGroup("A") is True and obj.fns.getSelectedGroup() == "A"
    assert obj.fns.setGroupElements("A", [1, 2, 9]) is True
    assert obj.fns.addGroupElements("B", wkcache.BitArray([2, 3])) is True
    assert list(obj.fns.getGroupElements("A")) == [1, 2]
    assert obj.fns.makeGroupElementsUnique("B") is True
    assert list(obj.fns.getGroupElements("A")) == [1]
    assert obj.fns.removeGroupElements("B", [3]) is True
    assert list(obj.fns.getGroupElements("B")) == [2]
    obj.fns.addGroup("", addSelected=True)
    assert obj.fns.getSelectedGroup() == "Group001"
    for getter, setter, value in [("getGroupEnabled", "setGroupEnabled", False),
                                  ("getGroupDelay", "setGroupDelay", 2.5),
                                  ("getGroupDeleteByAge", "setGroupDeleteByAge", True),
                                  ("getGroupDeleteAge", "setGroupDeleteAge", 4.0),
                                  ("getGroupDeleteByDistance", "setGroupDeleteByDistance", True),
                                  ("getGroupDeleteDistance", "setGroupDeleteDistance", 7.5)]:
        assert getattr(obj.fns, setter)("A", value) is True
        assert getattr(obj.fns, getter)("A") == value, getter


def test_one_undo_step_per_call(recorded):
    scene, obj = recorded
    obj.fns.addGroup("A")
    steps = len(scene.undo_steps)
    for change in [lambda: obj.fns.setGroupEnabled("A", False),
                   lambda: obj.fns.setGroupMode("A", "setmatid"),
                   lambda: obj.fns.renameGroup("A", "B"),
                   lambda: obj.fns.deleteAllGroups()]:
        before = [obj.fns.getElementNames(), obj.fns.getSelectedGroup()]
        change()
        assert len(scene.undo_steps) == steps + 1
        assert scene.undo()
        assert [obj.fns.getElementNames(), obj.fns.getSelectedGroup()] == before
        assert obj.fns.getGroupEnabled("A") is True and obj.fns.getGroupMode("A") == "holdin"
    assert scene.redo() and obj.fns.getSelectedGroup() == ""


def test_debug_print(recorded, capsys, tmp_path):
    scene, obj = recorded
    obj.fns.debugPrint()
    # The registry is the process's: other tests' caches may be listed too.
    printed = capsys.readouterr().out.split("\n")
    lines = printed[printed.index(f'Cache File : "{tmp_path / "boxes.wkc"}"'):][:11]
    expected = [
        f'Cache File : "{tmp_path / "boxes.wkc"}"',
        "\tNumber of Frames : 21",
        "\tStep Size        : 320 ticks",
        "\tFrameRate        : 30 FPS",
        "\tObjects          : 3",
        "",
        "\tReferenced by 1 node :",
        "\t\t$'Recorder'",
    ]
    assert lines[0] == expected[0]
    assert [l.split(":")[0] for l in lines[1:4]] == ["\tFile size        ",
                                                     "\tMesh size        ",
                                                     "\tAnimation size   "]
    assert lines[4:] == expected[1:]


def test_progress_callback_cancels_record(tmp_path):
    scene = wkcache.Scene(str(SCENES / "falling_boxes.json"))
    obj = scene.cache_objects[0]
    calls = []
    assert obj.fns.record(fileName=str(tmp_path / "b"), progress=lambda d, t: calls.append(d) or False) \
        is False
    assert calls and not list(tmp_path.glob("*.wkc"))


def test_interface_errors(recorded):
    _, obj = recorded
    with pytest.raises(wkcache.ScriptError, match="Argument count error"):
        obj.fns.deleteGroup()
    with pytest.raises(AttributeError):
        obj.fns.noSuchFunction
    assert "cacheHasSpecifiedNormals" in dir(obj.fns)


def test_explode_and_reduce_keys(recorded):
    scene, obj = recorded
    nodes = obj.fns.explode((0, 3200), 320, reduceKeys=False)
    assert len(nodes) == obj.fns.cacheNumNodes and all(isinstance(n, wkcache.Node) for n in nodes)
    # A key a step, until a reduction thins them: by node, or by one of its controllers alone.
    first, rest = nodes[0], nodes[1:]
    assert first.position_controller.key_times == list(range(0, 3201, 320))
    assert obj.fns.reduceKeys(first.position_controller, (0, 3200), 160) is True
    assert len(first.position_controller.key_times) < 11
    assert len(first.rotation_controller.key_times) == 11
    assert obj.fns.reduceKeys(rest, (0, 3200), 160) is True
    assert all(len(n.scale_controller.key_times) < 11 for n in rest)
    # Anything but nodes and controllers is refused, naming the value.
    with pytest.raises(wkcache.ScriptError,
                       match="controller parameter must be \\(an array of\\) nodes/controllers, got: 5"):
        obj.fns.reduceKeys(5, (0, 3200), 160)


def test_tuples_are_arrays_except_where_an_interval_is_declared(recorded):
    _, obj = recorded
    # Two indices in a tuple are two indices, not an interval.
    assert list(obj.fns.setElementSelection((1, 3))) == [1, 3]
    obj.fns.addGroup("A")
    assert obj.fns.setGroupElements("A", (2, 3)) is True
    assert list(obj.fns.getGroupElements("A")) == [2, 3]
    # Where an interval is declared, two ticks make one as a list too.
    assert obj.fns.reduceKeys([], [0, 3200], 160) is True
