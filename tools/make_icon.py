#!/usr/bin/env python3
"""Renders the program icon from its SVG source into a Windows .ico of PNG images.

Only the SVG the icon uses is understood: <rect> (with rx), <circle> and convex <polygon>,
each filled with a #rrggbb colour, painted in document order. Edges are anti-aliased from
signed distances, which keeps the small sizes crisp without a rendering library.

usage: make_icon.py SOURCE.svg OUTPUT.ico
"""
import math
import struct
import sys
import xml.etree.ElementTree as ET
import zlib

SIZES = (16, 24, 32, 48, 64, 128, 256)


def rect_distance(shape, x, y):
    x0, y0, w, h, r = shape
    cx, cy = x0 + w / 2, y0 + h / 2
    qx = abs(x - cx) - (w / 2 - r)
    qy = abs(y - cy) - (h / 2 - r)
    outside = math.hypot(max(qx, 0.0), max(qy, 0.0))
    return outside + min(max(qx, qy), 0.0) - r


def circle_distance(shape, x, y):
    cx, cy, r = shape
    return math.hypot(x - cx, y - cy) - r


def polygon_distance(edges, x, y):
    # Largest distance to an edge's line: exact inside a convex polygon, close enough outside.
    return max(nx * x + ny * y - c for nx, ny, c in edges)


def polygon_edges(points):
    area = sum(points[i][0] * points[i - 1][1] - points[i - 1][0] * points[i][1] for i in range(len(points)))
    orientation = -1.0 if area > 0 else 1.0
    edges = []
    for (x1, y1), (x2, y2) in zip(points, points[1:] + points[:1]):
        length = math.hypot(x2 - x1, y2 - y1)
        nx, ny = orientation * (y2 - y1) / length, orientation * (x1 - x2) / length
        edges.append((nx, ny, nx * x1 + ny * y1))
    return edges


def load_shapes(path):
    shapes = []
    for element in ET.parse(path).getroot().iter():
        tag = element.tag.rsplit('}', 1)[-1]
        fill = element.get('fill')
        if tag not in ('rect', 'circle', 'polygon'):
            continue
        colour = tuple(int(fill[i:i + 2], 16) for i in (1, 3, 5))
        number = lambda name: float(element.get(name, '0'))
        if tag == 'rect':
            shapes.append((rect_distance, (number('x'), number('y'), number('width'), number('height'), number('rx')), colour))
        elif tag == 'circle':
            shapes.append((circle_distance, (number('cx'), number('cy'), number('r')), colour))
        else:
            values = [float(v) for v in element.get('points').replace(',', ' ').split()]
            shapes.append((polygon_distance, polygon_edges(list(zip(values[::2], values[1::2]))), colour))
    return shapes


def render(shapes, size, view=256.0):
    scale = view / size
    pixels = bytearray()
    for row in range(size):
        for column in range(size):
            x, y = (column + 0.5) * scale, (row + 0.5) * scale
            r = g = b = a = 0.0  # premultiplied
            for distance, shape, colour in shapes:
                coverage = min(max(0.5 - distance(shape, x, y) / scale, 0.0), 1.0)
                if coverage:
                    r = colour[0] * coverage + r * (1 - coverage)
                    g = colour[1] * coverage + g * (1 - coverage)
                    b = colour[2] * coverage + b * (1 - coverage)
                    a = coverage + a * (1 - coverage)
            if a:
                pixels += bytes((round(r / a), round(g / a), round(b / a), round(a * 255)))
            else:
                pixels += b'\0\0\0\0'
    return bytes(pixels)


def png(size, rgba):
    def chunk(kind, data):
        return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))
    rows = b''.join(b'\0' + rgba[y * size * 4:(y + 1) * size * 4] for y in range(size))
    header = struct.pack('>IIBBBBB', size, size, 8, 6, 0, 0, 0)  # 8-bit RGBA
    return b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', header) + chunk(b'IDAT', zlib.compress(rows, 9)) + chunk(b'IEND', b'')


def ico(images):
    directory = struct.pack('<HHH', 0, 1, len(images))
    offset = 6 + 16 * len(images)
    entries, data = b'', b''
    for size, image in images:
        side = 0 if size == 256 else size  # 0 stands for 256 in an icon directory
        entries += struct.pack('<BBBBHHII', side, side, 0, 0, 1, 32, len(image), offset + len(data))
        data += image
    return directory + entries + data


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__.strip().splitlines()[-1])
    shapes = load_shapes(sys.argv[1])
    with open(sys.argv[2], 'wb') as out:
        out.write(ico([(size, png(size, render(shapes, size))) for size in SIZES]))


if __name__ == '__main__':
    main()
