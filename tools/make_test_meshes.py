#!/usr/bin/env python3
"""Writes glTF meshes: the small files the mesh reader's tests read (tests/game/graphics/meshes/), and
the demo's models in data/models/, each beside its model file (.ini), shaped from that file's
colliders. One glTF node per RENDERABLE record, of the same name, in that record's frame; positions
in the game's axes (Y up), as the exporter writes them."""
import json
import math
import os
import struct
import zlib

ROOT = os.path.join(os.path.dirname(__file__), "..")
OUT = os.path.join(ROOT, "tests", "game", "graphics", "meshes")
MODELS = os.path.join(ROOT, "data", "models")


def floats(values):
    return struct.pack("<%df" % len(values), *values)


def parts():
    blob = bytearray()
    views = []

    def view(data, align=4):
        while len(blob) % align:
            blob.append(0)
        views.append({"buffer": 0, "byteOffset": len(blob), "byteLength": len(data)})
        blob.extend(data)
        return len(views) - 1

    quad = [0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0]
    tri = [0, 0, 1, 2, 0, 1, 0, 2, 1]
    v_pos_a = view(floats(quad))
    v_nrm_a = view(floats([0, 0, 1] * 4))
    v_col_a = view(bytes([255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 9, 9, 9, 9]))
    v_idx_a = view(struct.pack("<6H", 0, 1, 2, 0, 2, 3), 2)
    v_pos_b = view(floats(tri))
    v_col_b = view(floats([1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1, 1]))
    v_uv0_b = view(floats([0, 0, 1, 0, 0, 1]))
    v_uv1_b = view(floats([0.5, 0.5, 1, 0.5, 0.5, 1]))
    v_pos_c = view(floats([9, 9, 9] + quad))  # one leading vertex skipped by the accessor's byteOffset
    v_idx_c = view(struct.pack("<6I", 0, 1, 2, 0, 2, 3))

    accessors = [
        {"bufferView": v_pos_a, "componentType": 5126, "count": 4, "type": "VEC3", "byteStride": 0},
        {"bufferView": v_nrm_a, "componentType": 5126, "count": 4, "type": "VEC3"},
        {"bufferView": v_col_a, "componentType": 5121, "count": 4, "type": "VEC4", "normalized": True},
        {"bufferView": v_idx_a, "componentType": 5123, "count": 6, "type": "SCALAR"},
        {"bufferView": v_pos_b, "componentType": 5126, "count": 3, "type": "VEC3"},
        {"bufferView": v_col_b, "componentType": 5126, "count": 3, "type": "VEC4"},
        {"bufferView": v_uv0_b, "componentType": 5126, "count": 3, "type": "VEC2"},
        {"bufferView": v_uv1_b, "componentType": 5126, "count": 3, "type": "VEC2"},
        {"bufferView": v_pos_c, "byteOffset": 12, "componentType": 5126, "count": 4, "type": "VEC3"},
        {"bufferView": v_idx_c, "componentType": 5125, "count": 6, "type": "SCALAR"},
    ]
    for a in accessors:  # positions carry their bounds, as the format asks
        if a["type"] == "VEC3" and a["bufferView"] in (v_pos_a, v_pos_b, v_pos_c):
            a["min"], a["max"] = [0, 0, 0], [2, 2, 1]
    prim_a = {"attributes": {"POSITION": 0, "NORMAL": 1, "COLOR_0": 2}, "indices": 3, "material": 0}
    prim_b = {"attributes": {"POSITION": 4, "COLOR_0": 5, "TEXCOORD_0": 6, "TEXCOORD_1": 7}, "material": 1}
    prim_c = {"attributes": {"POSITION": 8}, "indices": 9, "material": 2}
    gltf = {
        "asset": {"version": "2.0", "generator": "make_test_meshes.py"},
        "scene": 0,
        "scenes": [{"nodes": [0, 1, 2, 3]}],
        "nodes": [
            {"name": "camera", "camera": 0},
            {"name": "body", "mesh": 0},
            {"name": "monitor", "mesh": 1, "translation": [0, 1, 0]},
            {"name": "crate", "mesh": 2},
        ],
        "cameras": [{"type": "perspective", "perspective": {"yfov": 1.0, "znear": 0.1}}],
        "meshes": [{"name": "body", "primitives": [prim_a, prim_b]},
                   {"name": "monitor", "primitives": [prim_c]},
                   {"name": "crate", "primitives": [{"attributes": {"POSITION": 4, "TEXCOORD_0": 6}, "material": 3}]}],
        "materials": [
            {"name": "paint", "emissiveFactor": [1.0, 0.5, 0.0],
             "pbrMetallicRoughness": {"baseColorFactor": [0.5, 0.25, 1.0, 1.0], "metallicFactor": 0.2,
                                      "roughnessFactor": 0.7}},
            {"name": "glass"},
            {"name": "screen", "pbrMetallicRoughness": {"baseColorTexture": {"index": 0}, "metallicFactor": 0.0}},
            {"name": "wood", "pbrMetallicRoughness": {"baseColorTexture": {"index": 1}, "roughnessFactor": 0.9}},
        ],
        "textures": [{"source": 0}, {"source": 1}],
        "images": [{"uri": "not_there.png"}, {"uri": "wood.png"}],
        "accessors": accessors,
        "bufferViews": views,
        "buffers": [{"uri": "parts.bin", "byteLength": len(blob)}],
    }
    return gltf, bytes(blob)


def game(p):
    """Blender axes (Z up) to the game's (Y up): (x, y, z) -> (x, z, -y). A rotation: windings keep."""
    return [p[0], p[2], -p[1]]


class Model:
    """Named nodes of triangle primitives, written as one glTF file with one buffer. Shapes are given
    in the model file's axes (Blender's, Z up) relative to their RENDERABLE's frame and stored in the
    game's axes, as the exporter writes them."""

    def __init__(self, stem):
        self.stem = stem
        self.nodes = {}  # name -> {material: (positions, normals, uvs, indices)}
        self.materials = {}  # name -> glTF material

    def material(self, name, color, metallic=0.0, roughness=0.8, emission=None, texture=None):
        m = {"name": name, "pbrMetallicRoughness": {"metallicFactor": metallic, "roughnessFactor": roughness}}
        if texture is None:
            m["pbrMetallicRoughness"]["baseColorFactor"] = color
        else:
            m["pbrMetallicRoughness"]["baseColorTexture"] = {"index": texture}
        if emission:
            m["emissiveFactor"] = emission
        self.materials[name] = m

    def _part(self, node, material):
        return self.nodes.setdefault(node, {}).setdefault(material, ([], [], [], []))

    def quad(self, node, material, corners, uvs=((0, 1), (1, 1), (1, 0), (0, 0))):
        """Four corners counter-clockwise seen from the front; the normal faces the viewer."""
        positions, normals, texcoords, indices = self._part(node, material)
        a, b, c = corners[0], corners[1], corners[2]
        n = cross(sub(b, a), sub(c, a))
        n = [x / (sum(y * y for y in n) ** 0.5) for x in n]
        first = len(positions)
        for p, uv in zip(corners, uvs):
            positions.append(game(p))
            normals.append(game(n))
            texcoords.append(list(uv))
        indices += [first, first + 1, first + 2, first, first + 2, first + 3]

    def triangle(self, node, material, a, b, c):
        self.quad(node, material, [a, b, c, c], uvs=((0, 0), (1, 0), (1, 1), (1, 1)))
        del self._part(node, material)[3][-3:]  # the degenerate half

    def box(self, node, material, lo, hi):
        x0, y0, z0 = lo
        x1, y1, z1 = hi
        self.quad(node, material, [(x0, y0, z1), (x1, y0, z1), (x1, y1, z1), (x0, y1, z1)])  # top
        self.quad(node, material, [(x0, y1, z0), (x1, y1, z0), (x1, y0, z0), (x0, y0, z0)])  # bottom
        self.quad(node, material, [(x0, y0, z0), (x1, y0, z0), (x1, y0, z1), (x0, y0, z1)])  # front (-y)
        self.quad(node, material, [(x1, y1, z0), (x0, y1, z0), (x0, y1, z1), (x1, y1, z1)])  # back
        self.quad(node, material, [(x1, y0, z0), (x1, y1, z0), (x1, y1, z1), (x1, y0, z1)])  # +x
        self.quad(node, material, [(x0, y1, z0), (x0, y0, z0), (x0, y0, z1), (x0, y1, z1)])  # -x

    def cylinder(self, node, material, centre, radius, length, axis=2, segments=16):
        """Around `axis` (0 x, 2 z) through centre, `length` long, with both caps."""
        def point(angle, t):
            u, v = radius * math.cos(angle), radius * math.sin(angle)
            if axis == 2:
                return (centre[0] + u, centre[1] + v, centre[2] + t)
            return (centre[0] + t, centre[1] + u, centre[2] + v)
        h = length / 2
        axis_end = [list(centre), list(centre)]
        axis_end[0][axis] -= h
        axis_end[1][axis] += h
        for i in range(segments):
            a0, a1 = 2 * math.pi * i / segments, 2 * math.pi * (i + 1) / segments
            self.quad(node, material, [point(a0, -h), point(a1, -h), point(a1, h), point(a0, h)])
            self.triangle(node, material, point(a0, h), point(a1, h), tuple(axis_end[1]))
            self.triangle(node, material, point(a1, -h), point(a0, -h), tuple(axis_end[0]))

    def hull(self, node, material, vertices, triangles):
        """A convex hull from a COLLIDER's vertices and triangles, each face turned outwards."""
        middle = [sum(v[k] for v in vertices) / len(vertices) for k in range(3)]
        for t in triangles:
            a, b, c = (vertices[i] for i in t)
            n = cross(sub(b, a), sub(c, a))
            if sum(n[k] * (a[k] - middle[k]) for k in range(3)) < 0:
                b, c = c, b
            self.triangle(node, material, a, b, c)

    def gltf(self, images=()):
        blob = bytearray()
        views, accessors, meshes, nodes = [], [], [], []
        names = list(self.materials)

        def add(data, count, kind, component, align=4, bounds=None):
            while len(blob) % align:
                blob.append(0)
            views.append({"buffer": 0, "byteOffset": len(blob), "byteLength": len(data)})
            blob.extend(data)
            accessor = {"bufferView": len(views) - 1, "componentType": component, "count": count, "type": kind}
            if bounds:
                accessor["min"], accessor["max"] = bounds
            accessors.append(accessor)
            return len(accessors) - 1

        for node, parts in self.nodes.items():
            primitives = []
            for material, (positions, normals, texcoords, indices) in parts.items():
                flat = [x for p in positions for x in p]
                bounds = ([min(p[k] for p in positions) for k in range(3)],
                          [max(p[k] for p in positions) for k in range(3)])
                attributes = {
                    "POSITION": add(floats(flat), len(positions), "VEC3", 5126, bounds=bounds),
                    "NORMAL": add(floats([x for n in normals for x in n]), len(normals), "VEC3", 5126),
                    "TEXCOORD_0": add(floats([x for t in texcoords for x in t]), len(texcoords), "VEC2", 5126),
                }
                index = add(struct.pack("<%dH" % len(indices), *indices), len(indices), "SCALAR", 5123, align=2)
                primitives.append({"attributes": attributes, "indices": index, "material": names.index(material)})
            meshes.append({"name": node, "primitives": primitives})
            nodes.append({"name": node, "mesh": len(meshes) - 1})
        gltf = {
            "asset": {"version": "2.0", "generator": "make_test_meshes.py"},
            "scene": 0,
            "scenes": [{"nodes": list(range(len(nodes)))}],
            "nodes": nodes,
            "meshes": meshes,
            "materials": [self.materials[n] for n in names],
            "accessors": accessors,
            "bufferViews": views,
            "buffers": [{"uri": self.stem + ".bin", "byteLength": len(blob)}],
        }
        if images:
            gltf["textures"] = [{"source": i} for i in range(len(images))]
            gltf["images"] = [{"uri": uri} for uri in images]
        return gltf, bytes(blob)


def sub(a, b):
    return [a[k] - b[k] for k in range(3)]


def cross(a, b):
    return [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]]


def read_model(stem):
    """The sections of a model file: {(keyword, name): {key: [numbers or words]}}."""
    sections, current = {}, None
    with open(os.path.join(MODELS, stem + ".ini")) as f:
        for line in f:
            line = line.strip()
            if not line or line.startswith("#"):
                continue
            if line.startswith("["):
                keyword, _, name = line.strip("[]").partition(" ")
                current = sections.setdefault((keyword, name.strip()), {})
                continue
            key, *values = line.split()
            current[key] = values
    return sections


def collider_box(sections, name):
    record = sections[("COLLIDER", name)]
    return [float(x) for x in record["box_min"]], [float(x) for x in record["box_max"]]


def box_model(stem, node, material, color):
    """One node: the model's collider box (the only one), in one material."""
    sections = read_model(stem)
    (lo, hi), = [collider_box(sections, name) for (kind, name) in sections if kind == "COLLIDER"]
    m = Model(stem)
    m.material(material, color)
    m.box(node, material, lo, hi)
    return m.gltf()


def vehicle():
    s = read_model("vehicle")
    m = Model("vehicle")
    m.material("paint", [0.85, 0.45, 0.1, 1.0], roughness=0.5)
    m.material("rubber", [0.05, 0.05, 0.05, 1.0], roughness=0.95)
    m.material("metal", [0.6, 0.62, 0.65, 1.0], metallic=1.0, roughness=0.3)
    m.material("lamp", [1.0, 0.95, 0.8, 1.0], emission=[4.0, 3.6, 2.8])
    lo, hi = collider_box(s, "chassis")
    m.box("body", "paint", lo, hi)
    for x in (lo[0] - 0.12, hi[0] + 0.12):
        for y in (lo[1] + 0.6, hi[1] - 0.6):
            m.cylinder("body", "rubber", (x, y, lo[2] + 0.15), 0.35, 0.24, axis=0)
    for x in (lo[0] + 0.3, hi[0] - 0.3):  # headlights on the front (+y) face
        m.box("body", "lamp", (x - 0.15, hi[1], hi[2] - 0.2), (x + 0.15, hi[1] + 0.02, hi[2] - 0.08))
    lo, hi = collider_box(s, "turret")
    m.box("turret_shell", "paint", lo, hi)
    m.cylinder("turret_shell", "metal", (0, 0, hi[2] + 0.05), 0.2, 0.1)
    lo, hi = collider_box(s, "boom")
    m.box("boom_arm", "metal", lo, hi)
    m.box("boom_arm", "lamp", (lo[0], hi[1], lo[2]), (hi[0], hi[1] + 0.05, hi[2]))
    return m.gltf()


def wing():
    record = read_model("wing")[("COLLIDER", "hull")]
    numbers = [float(x) for x in record["vertices"]]
    vertices = [numbers[i:i + 3] for i in range(0, len(numbers), 3)]
    indices = [int(x) for x in record["triangles"]]
    m = Model("wing")
    m.material("fabric", [0.9, 0.9, 0.85, 1.0], roughness=0.7)
    m.hull("wing", "fabric", vertices, [indices[i:i + 3] for i in range(0, len(indices), 3)])
    return m.gltf()


def buoy():
    s = read_model("buoy")
    m = Model("buoy")
    m.material("paint", [0.8, 0.1, 0.05, 1.0], roughness=0.6)
    m.material("metal", [0.6, 0.62, 0.65, 1.0], metallic=1.0, roughness=0.3)
    m.material("lamp", [1.0, 0.9, 0.3, 1.0], emission=[6.0, 5.0, 1.5])
    lo, hi = collider_box(s, "float")
    m.cylinder("buoy", "paint", (0, 0, (lo[2] + hi[2]) / 2), (hi[0] - lo[0]) / 2, hi[2] - lo[2], segments=20)
    lo, hi = collider_box(s, "mast")
    m.cylinder("buoy", "metal", (0, 0, (lo[2] + hi[2]) / 2), 0.04, hi[2] - lo[2], segments=8)
    m.box("buoy", "lamp", (-0.08, -0.08, hi[2]), (0.08, 0.08, hi[2] + 0.16))
    lo, hi = collider_box(s, "ballast")
    m.cylinder("buoy", "metal", (0, 0, (lo[2] + hi[2]) / 2), (hi[0] - lo[0]) / 2, hi[2] - lo[2], segments=8)
    return m.gltf()


def monitor():
    s = read_model("monitor")
    m = Model("monitor")
    m.material("plastic", [0.12, 0.12, 0.13, 1.0], roughness=0.6)
    m.material("screen", None, roughness=0.2, texture=0)  # shows a virtual screen
    lo, hi = collider_box(s, "case")
    m.box("monitor", "plastic", lo, hi)
    # The screen: a 4:3 panel 1 cm in front of the case's front (-y) face, texture v down.
    w, top, bottom = 0.36, hi[2] - 0.04, hi[2] - 0.04 - 0.54
    y = lo[1] - 0.01
    m.quad("monitor", "screen", [(-w, y, bottom), (w, y, bottom), (w, y, top), (-w, y, top)])
    return m.gltf(images=["monitor_screen.png"])


def sea():
    """A flat sheet of water at sea level beyond the shoreline of the demo's planet."""
    m = Model("sea")
    m.material("water", [0.04, 0.16, 0.26, 1.0], metallic=0.1, roughness=0.15)
    m.quad("sea", "water", [(50, -4000, 0), (4000, -4000, 0), (4000, 4000, 0), (50, 4000, 0)])
    return m.gltf()


def png(width, height, rgb):
    """An RGB PNG of one colour."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = b"".join(b"\0" + bytes(rgb) * width for _ in range(height))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def write(folder, stem, gltf, blob):
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, stem + ".gltf"), "w") as f:
        json.dump(gltf, f, indent=1)
        f.write("\n")
    with open(os.path.join(folder, stem + ".bin"), "wb") as f:
        f.write(blob)


def main():
    write(OUT, "parts", *parts())
    # The "wood" material's base colour image ("not_there.png" belongs to "screen", never read).
    with open(os.path.join(OUT, "wood.png"), "wb") as f:
        f.write(png(4, 4, (120, 80, 40)))
    # The demo's models, beside their model files.
    write(MODELS, "cube", *box_model("cube", "cube", "paint", [0.8, 0.3, 0.1, 1.0]))
    write(MODELS, "slab", *box_model("slab", "slab", "concrete", [0.6, 0.6, 0.6, 1.0]))
    write(MODELS, "vehicle", *vehicle())
    write(MODELS, "wing", *wing())
    write(MODELS, "buoy", *buoy())
    write(MODELS, "monitor", *monitor())
    write(MODELS, "sea", *sea())
    # What the monitor's screen shows until a virtual screen is set (the loader never reads it).
    with open(os.path.join(MODELS, "monitor_screen.png"), "wb") as f:
        f.write(png(4, 3, (8, 10, 12)))


if __name__ == "__main__":
    main()
