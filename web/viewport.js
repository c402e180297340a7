// The viewport: the cache object's mesh as the server evaluates it, in its material colours,
// with the markers of hidden elements and the lines the object draws at its sub-object levels
// (element boxes, the gizmo). Full frames rebuild the mesh; the fast path moves its vertices in
// place.
import * as THREE from '/three/build/three.module.js';
import { OrbitControls } from '/three/examples/jsm/controls/OrbitControls.js';
import { TransformControls } from '/three/examples/jsm/controls/TransformControls.js';
import { decodeFrame, KIND_FULL, KIND_POSITIONS } from './frame.js';

// Material ids have no colours of their own in the scene: each id gets a hue of its own, the
// golden angle apart, so neighbouring ids stand apart.
function materialColour(id) {
  return new THREE.Color().setHSL(((id * 0.618034) % 1 + 0.08) % 1, 0.45, 0.6);
}

export class Viewport {
  constructor(canvas) {
    this.canvas = canvas;
    this.renderer = new THREE.WebGLRenderer({ canvas, antialias: true, preserveDrawingBuffer: true });
    this.renderer.setClearColor(0x45474f);
    this.scene = new THREE.Scene();
    this.camera = new THREE.PerspectiveCamera(45, 1, 0.1, 100000);
    this.camera.up.set(0, 0, 1);
    this.camera.position.set(300, -400, 250);
    this.controls = new OrbitControls(this.camera, canvas);
    this.controls.addEventListener('change', () => this.draw());
    this.scene.add(new THREE.HemisphereLight(0xffffff, 0x404050, 0.7));
    const sun = new THREE.DirectionalLight(0xffffff, 0.6);
    sun.position.set(1, -2, 3);
    this.scene.add(sun);
    this.materials = [];
    this.mesh = null;
    this.topology = '';
    this.overlayKey = '0';
    this.framed = false;
    this.markers = new THREE.Points(new THREE.BufferGeometry(),
      new THREE.PointsMaterial({ color: 0xffd040, size: 6, sizeAttenuation: false }));
    this.lines = new THREE.LineSegments(new THREE.BufferGeometry(),
      new THREE.LineBasicMaterial({ vertexColors: THREE.VertexColors }));
    this.markers.frustumCulled = this.lines.frustumCulled = false;
    this.scene.add(this.markers, this.lines);
    // The gizmo's handles: a stand-in object that the handles move; on release the change
    // goes to the server (onGizmo), whose answer places the stand-in again.
    this.gizmo = new THREE.Object3D();
    this.handles = new TransformControls(this.camera, canvas);
    this.handles.addEventListener('change', () => this.draw());
    this.handles.addEventListener('dragging-changed', (e) => {
      this.controls.enabled = !e.value;
      const g = this.gizmo;
      if (e.value) this.dragStart = { p: g.position.clone(), q: g.quaternion.clone(), s: g.scale.clone() };
      else if (this.onGizmo) this.onGizmo(this.gizmoChange());
    });
    this.scene.add(this.gizmo, this.handles);
    new ResizeObserver(() => this.resize()).observe(canvas);
    this.resize();
  }

  resize() {
    const w = this.canvas.clientWidth, h = this.canvas.clientHeight;
    if (w === 0 || h === 0) return;
    this.renderer.setSize(w, h, false);
    this.camera.aspect = w / h;
    this.camera.updateProjectionMatrix();
    this.draw();
  }

  draw() {
    this.renderer.render(this.scene, this.camera);
  }

  material(id) {
    if (!this.materials[id])
      this.materials[id] = new THREE.MeshPhongMaterial({
        color: materialColour(id), flatShading: true, side: THREE.DoubleSide });
    return this.materials[id];
  }

  // Shows a frame from the server; answers the decoded frame.
  show(buffer) {
    const frame = decodeFrame(buffer);
    if (frame.kind === KIND_POSITIONS && this.mesh) {
      const position = this.mesh.geometry.getAttribute('position');
      position.array.set(frame.positions);
      position.needsUpdate = true;
    } else {
      this.rebuild(frame);
    }
    if (this.mesh) {
      const m = frame.tm;
      this.mesh.matrix.set(m[0], m[3], m[6], m[9], m[1], m[4], m[7], m[10],
                           m[2], m[5], m[8], m[11], 0, 0, 0, 1);
    }
    this.topology = frame.kind === 0 ? '' : frame.topology;
    this.overlay(frame);
    if (!this.framed && this.mesh) this.frameAll();
    this.draw();
    return frame;
  }

  rebuild(frame) {
    if (this.mesh) {
      this.scene.remove(this.mesh);
      this.mesh.geometry.dispose();
      this.mesh = null;
    }
    if (frame.kind !== KIND_FULL) return;
    const geometry = new THREE.BufferGeometry();
    const position = new THREE.BufferAttribute(new Float32Array(frame.positions), 3);
    position.setUsage(THREE.DynamicDrawUsage);
    geometry.setAttribute('position', position);
    // Faces sorted by material id, one draw group per id.
    const count = frame.materials.length;
    const order = Array.from({ length: count }, (_, i) => i);
    order.sort((a, b) => frame.materials[a] - frame.materials[b]);
    const index = new Uint32Array(count * 3);
    const used = [];
    order.forEach((f, i) => index.set(frame.faces.subarray(f * 3, f * 3 + 3), i * 3));
    for (let i = 0; i < count;) {
      const id = frame.materials[order[i]];
      let j = i;
      while (j < count && frame.materials[order[j]] === id) ++j;
      geometry.addGroup(i * 3, (j - i) * 3, used.length);
      used.push(this.material(id));
      i = j;
    }
    geometry.setIndex(new THREE.BufferAttribute(index, 1));
    this.mesh = new THREE.Mesh(geometry, used);
    this.mesh.matrixAutoUpdate = false;
    this.mesh.frustumCulled = false;
    this.scene.add(this.mesh);
  }

  overlay(frame) {
    if (frame.overlay !== '0' && frame.overlay === this.overlayKey) return;
    this.overlayKey = frame.overlay;
    this.markers.geometry.setAttribute('position',
      new THREE.BufferAttribute(new Float32Array(frame.markers), 3));
    const n = frame.segmentCount;
    const points = new Float32Array(n * 6), colours = new Float32Array(n * 6);
    for (let s = 0; s < n; ++s) {
      for (let k = 0; k < 6; ++k) points[s * 6 + k] = frame.segments.getFloat32(s * 28 + k * 4, true);
      const c = new THREE.Color(frame.segments.getUint32(s * 28 + 24, true));
      colours.set([c.r, c.g, c.b, c.r, c.g, c.b], s * 6);
    }
    this.lines.geometry.setAttribute('position', new THREE.BufferAttribute(points, 3));
    this.lines.geometry.setAttribute('color', new THREE.BufferAttribute(colours, 3));
  }

  // Looks at the whole mesh.
  frameAll() {
    this.mesh.geometry.computeBoundingSphere();
    const sphere = this.mesh.geometry.boundingSphere.clone().applyMatrix4(this.mesh.matrix);
    const distance = Math.max(sphere.radius, 1) / Math.sin((this.camera.fov * Math.PI) / 360);
    this.controls.target.copy(sphere.center);
    const dir = new THREE.Vector3(0.6, -0.8, 0.5).normalize();
    this.camera.position.copy(sphere.center).addScaledVector(dir, distance);
    this.camera.near = distance / 1000;
    this.camera.far = distance * 20;
    this.camera.updateProjectionMatrix();
    this.controls.update();
    this.framed = true;
  }

  // The level decides what the left button does: orbit, or select elements.
  setLevel(level) {
    this.controls.mouseButtons = level === 1
      ? { LEFT: -1, MIDDLE: THREE.MOUSE.ROTATE, RIGHT: THREE.MOUSE.PAN }
      : { LEFT: THREE.MOUSE.ROTATE, MIDDLE: THREE.MOUSE.DOLLY, RIGHT: THREE.MOUSE.PAN };
  }

  // The gizmo's world transform (12 numbers, rows x, y, z and the translation), or nothing
  // away from the Gizmo level.
  setGizmo(rows) {
    if (!rows) {
      this.handles.detach();
      return;
    }
    const m = new THREE.Matrix4().set(rows[0], rows[3], rows[6], rows[9], rows[1], rows[4], rows[7], rows[10],
                                      rows[2], rows[5], rows[8], rows[11], 0, 0, 0, 1);
    m.decompose(this.gizmo.position, this.gizmo.quaternion, this.gizmo.scale);
    if (this.handles.object !== this.gizmo) this.handles.attach(this.gizmo);
    this.draw();
  }

  setGizmoMode(mode) {
    this.handles.setMode(mode);
    this.handles.setSpace(mode === 'scale' ? 'local' : 'world');
    this.draw();
  }

  // The drag just ended, as the server takes it: a world move, a world rotation about the
  // gizmo's centre, or factors along its own axes.
  gizmoChange() {
    const g = this.gizmo, s = this.dragStart;
    if (this.handles.getMode() === 'translate')
      return { move: g.position.clone().sub(s.p).toArray() };
    if (this.handles.getMode() === 'rotate') {
      const q = g.quaternion.clone().multiply(s.q.clone().inverse()).normalize();
      const angle = 2 * Math.acos(Math.min(1, Math.abs(q.w)));
      const sign = q.w < 0 ? -1 : 1;
      const axis = new THREE.Vector3(q.x * sign, q.y * sign, q.z * sign);
      return { rotate: { axis: axis.lengthSq() > 1e-12 ? axis.normalize().toArray() : [0, 0, 1], angle } };
    }
    return { scale: [g.scale.x / s.s.x, g.scale.y / s.s.y, g.scale.z / s.s.z] };
  }

  // What the server needs to hit test as this view shows it.
  cameraForPick() {
    this.camera.updateMatrixWorld();
    return {
      view: Array.from(this.camera.matrixWorldInverse.elements),
      fov: this.camera.fov,
      width: this.canvas.clientWidth,
      height: this.canvas.clientHeight,
    };
  }

  // The sum of the vertex coordinates: a cheap sign that the mesh moved.
  checksum() {
    if (!this.mesh) return 0;
    return this.mesh.geometry.getAttribute('position').array.reduce((a, b) => a + b, 0);
  }
}
