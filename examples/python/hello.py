# SPDX-License-Identifier: MIT
import tovkit

line = {"Content": "Hello, 世界! 🎉", "DeltaX": 20, "DeltaY": 16, "Font": {"FontSize": 32, "Color": "#1F4E79"}}
picture = tovkit.draw(line, size=(360, 80), background="#F4F1EA")
picture.save("python_hello.png")
print(picture, picture.resize("50%").size)

with open("python_hello.pdf", "wb") as file:
    file.write(tovkit.draw_pdf(line, size="A6-landscape"))

print(tovkit.hit_test("M 0 0 L 10 0 L 5 8 Z", [(5, 3), (20, 3)], fill=True))
print(tovkit.parse_pages("1,3-5", count=12), tovkit.b64encode(b"tovkit"))
