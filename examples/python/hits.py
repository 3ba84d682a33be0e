# SPDX-License-Identifier: MIT
"""Which points of a plane touch a path, as a picture made with NumPy."""
import numpy as np

import tovkit

path = tovkit.Path("M 40 150 C 40 30 160 30 160 110 S 280 190 280 70")
x, y = np.meshgrid(np.arange(320), np.arange(200))
points = np.column_stack([x.ravel(), y.ravel()])

near = tovkit.hit_test(path, points, tolerance=12).reshape(x.shape)
far = tovkit.distance(path, points).reshape(x.shape)

picture = np.empty((*x.shape, 3), np.uint8)
picture[:] = (255 - np.minimum(far, 120)[..., np.newaxis]).astype(np.uint8)  # gray, darker away from the path
picture[near] = (236, 146, 54)
picture[far < 1.5] = (40, 40, 60)
tovkit.Image.fromarray(picture, "RGB").save("python_hits.png")
print(f"{near.sum()} of {near.size} points are near")
