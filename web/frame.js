// The server's binary frames (tools/serve/frame_buffer.h): a header of ten words, the object's
// transform, the vertices, on a full frame the faces and their material ids, then the markers
// and the overlay's line segments (none when the overlay is the one the page holds).
export const KIND_EMPTY = 0, KIND_FULL = 1, KIND_POSITIONS = 2;
const MAGIC = 0x31464B57;

export function decodeFrame(buffer) {
  const view = new DataView(buffer);
  const word = (i) => view.getUint32(i * 4, true);
  if (buffer.byteLength < 88 || word(0) !== MAGIC) throw new Error('not a frame');
  const kind = word(1), verts = word(3), faces = word(4), markers = word(5), segments = word(6);
  const topology = word(8).toString(16).padStart(8, '0') + word(7).toString(16).padStart(8, '0');
  const overlay = word(9).toString(16);
  let offset = 88;
  const floats = (n) => { const a = new Float32Array(buffer, offset, n); offset += n * 4; return a; };
  const words = (n) => { const a = new Uint32Array(buffer, offset, n); offset += n * 4; return a; };
  const frame = {
    kind, time: view.getInt32(8, true), topology, overlay, bytes: buffer.byteLength,
    tm: new Float32Array(buffer, 40, 12),
    positions: floats(verts * 3),
  };
  if (kind === KIND_FULL) {
    frame.faces = words(faces * 3);
    frame.materials = words(faces);
  }
  frame.markers = floats(markers * 3);
  frame.segments = new DataView(buffer, offset, segments * 28);
  frame.segmentCount = segments;
  return frame;
}
