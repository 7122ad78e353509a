#!/usr/bin/env python3
"""Writes glTF meshes: the small files the mesh reader's tests read (tests/game/graphics/meshes/), and
the box-shaped models of data/models/ (each beside its model file, in that file's axes, Z up)."""
import json
import os
import struct

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


def box(name, lo, hi, material, color):
    """One node `name`: a box from lo to hi, 24 vertices with normals, 36 16-bit indices."""
    positions, normals, indices = [], [], []
    for axis in range(3):
        for side in (0, 1):
            n = [0.0, 0.0, 0.0]
            n[axis] = 1.0 if side else -1.0
            u, v = (axis + 1) % 3, (axis + 2) % 3
            first = len(positions) // 3
            for a, b in ((0, 0), (1, 0), (1, 1), (0, 1)):
                p = [0.0, 0.0, 0.0]
                p[axis] = hi[axis] if side else lo[axis]
                p[u] = hi[u] if a else lo[u]
                p[v] = hi[v] if b else lo[v]
                positions += p
                normals += n
            quad = [0, 1, 2, 0, 2, 3] if side else [0, 2, 1, 0, 3, 2]
            indices += [first + q for q in quad]
    blob = floats(positions) + floats(normals) + struct.pack("<%dH" % len(indices), *indices)
    count = len(positions) // 3
    gltf = {
        "asset": {"version": "2.0", "generator": "make_test_meshes.py"},
        "scene": 0,
        "scenes": [{"nodes": [0]}],
        "nodes": [{"name": name, "mesh": 0}],
        "meshes": [{"name": name, "primitives": [{"attributes": {"POSITION": 0, "NORMAL": 1}, "indices": 2,
                                                  "material": 0}]}],
        "materials": [{"name": material, "pbrMetallicRoughness": {"baseColorFactor": color, "metallicFactor": 0.0,
                                                                  "roughnessFactor": 0.8}}],
        "accessors": [
            {"bufferView": 0, "componentType": 5126, "count": count, "type": "VEC3", "min": lo, "max": hi},
            {"bufferView": 1, "componentType": 5126, "count": count, "type": "VEC3"},
            {"bufferView": 2, "componentType": 5123, "count": len(indices), "type": "SCALAR"},
        ],
        "bufferViews": [
            {"buffer": 0, "byteOffset": 0, "byteLength": count * 12},
            {"buffer": 0, "byteOffset": count * 12, "byteLength": count * 12},
            {"buffer": 0, "byteOffset": count * 24, "byteLength": len(indices) * 2},
        ],
        "buffers": [{"uri": name + ".bin", "byteLength": len(blob)}],
    }
    return gltf, blob


def write(folder, stem, gltf, blob):
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, stem + ".gltf"), "w") as f:
        json.dump(gltf, f, indent=1)
        f.write("\n")
    with open(os.path.join(folder, stem + ".bin"), "wb") as f:
        f.write(blob)


def main():
    write(OUT, "parts", *parts())
    # The collider boxes of cube.ini and slab.ini.
    write(MODELS, "cube", *box("cube", [-0.5, -0.5, -0.5], [0.5, 0.5, 0.5], "paint", [0.8, 0.3, 0.1, 1.0]))
    write(MODELS, "slab", *box("slab", [-10.0, -10.0, -0.5], [10.0, 10.0, 0.0], "concrete", [0.6, 0.6, 0.6, 1.0]))


if __name__ == "__main__":
    main()
