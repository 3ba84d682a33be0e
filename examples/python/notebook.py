# SPDX-License-Identifier: MIT
# A notebook as a script: each "# %%" begins a cell, which Jupyter, VS Code and Spyder run by itself.
# %%
import numpy as np

import tovkit

# %% An image at the end of a cell shows itself.
page = tovkit.draw([{"Content": "Measured", "DeltaX": 16, "Font": {"FontSize": 28}},
                    {"Content": "line by line", "DeltaX": 16, "DeltaY": 60, "Font": {"FontSize": 20, "Color": "#a04000"}}])
page

# %% Its pixels are NumPy's without a copy: blue first, rows padded to 4 bytes.
pixels = np.asarray(page)
print(pixels.shape, pixels.strides, f"{(pixels < 128).any(axis=2).mean():.0%} is ink")

# %% What is written through the array is in the picture.
pixels[:4] = (80, 160, 0)
print(np.asarray(page.rgb())[0, 0], "is red, green, blue")

# %% What was drawn, in words.
report = tovkit.describe({"Content": "Measured", "Font": {"FontSize": 28}})[0]
print(sorted(report["ink"]), report["runCount"], report["runs"][0]["script"])

# %% To Pillow and back.
smaller = page.to_pillow().reduce(2)
again = tovkit.Image.from_pillow(smaller)
print(again.mode, again.size == smaller.size)
again
