# Run by Blender in background mode: imports a glTF asset and checks how many objects it made
# and the frame range of its animation. Exits non-zero on any difference.
#   blender -b --factory-startup --python blender_check.py -- ASSET OBJECTS LAST_FRAME
import sys

import bpy

asset, objects, last_frame = sys.argv[sys.argv.index("--") + 1:]
bpy.ops.wm.read_factory_settings(use_empty=True)
bpy.ops.import_scene.gltf(filepath=asset)
count = len(bpy.context.scene.objects)
ranges = [action.frame_range for action in bpy.data.actions]
end = max((r[1] for r in ranges), default=0)
ok = count == int(objects) and abs(end - float(last_frame)) <= 1
print(f"{asset}: {count} objects, animation to frame {end}")
sys.exit(0 if ok else 1)
