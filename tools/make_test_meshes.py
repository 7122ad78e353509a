#!/usr/bin/env python3
"""Writes the small glTF files the mesh reader's tests read (tests/game/graphics/meshes/)."""
import json
import os
import struct

OUT = os.path.join(os.path.dirname(__file__), "..", "tests", "game", "graphics", "meshes")


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


def main():
    os.makedirs(OUT, exist_ok=True)
    gltf, blob = parts()
    with open(os.path.join(OUT, "parts.gltf"), "w") as f:
        json.dump(gltf, f, indent=1)
        f.write("\n")
    with open(os.path.join(OUT, "parts.bin"), "wb") as f:
        f.write(blob)


if __name__ == "__main__":
    main()
