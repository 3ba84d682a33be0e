# SPDX-License-Identifier: MIT
"""forms.py CORPUS: adds small pictures in every form that other programs write to CORPUS/decode_FORMAT.

They are those of tests/core/picture_forms.py, smaller, and those that are put together byte by byte: the families of TIFF and
JPEG 2000 in tests/core, and rare_forms.py. `scripts/fuzz --keep` takes the few that reach what the seeds do not.
"""
import argparse
import pathlib
import shutil
import subprocess
import sys
import tempfile

import rare_forms
import targets

sys.path.insert(0, str(targets.TOP / "tests/core"))
import jpeg2000_families  # noqa: E402  pylint: disable=wrong-import-position
import tiff_families  # noqa: E402  pylint: disable=wrong-import-position

SIZE = "19x13"
MOST = 4 << 10  # bytes of a picture, as keep.py has it
FORMATS = {"BMP": ["decode_bmp"], "GIF": ["decode_gif"], "JPEG2000": ["decode_jp2"], "JPEG": ["decode_jpeg"],
           "PNG": ["decode_png", "png_reader"], "TIFF": ["decode_tiff"], "WebP": ["decode_webp"]}


def written(name, scratch):
    """The files of a format that other programs have written to the folder."""
    told = subprocess.run(["/usr/bin/python3", "-B", "-W", "ignore", targets.TOP / "tests/core/picture_forms.py", name, SIZE],
                          cwd=scratch, check=True, capture_output=True, text=True).stdout
    files = {pathlib.Path(scratch) / line.split()[0] for line in told.splitlines()}
    return sorted(path for path in files if path.stat().st_size <= MOST)


def made(name):
    """{name: bytes} of the pictures of a format that are put together here."""
    families = {"TIFF": tiff_families, "JPEG2000": jpeg2000_families}
    if name in families:
        return {form: picture.data for form, picture in families[name].pictures().items()}
    return rare_forms.FORMATS.get(name, dict)()


def of_each_way(data):
    """The number of bytes chooses how decode_fuzz.cc reads them: one file for each way, with zeros behind the picture."""
    for way in (1, 2, 3, 6):
        yield data + bytes((way - len(data)) % 8)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("corpus", type=pathlib.Path)
    corpus = parser.parse_args().corpus
    for name, names in FORMATS.items():
        with tempfile.TemporaryDirectory() as scratch:
            files = written(name, scratch)
            for form, data in made(name).items():
                for way, padded in enumerate(of_each_way(data)):
                    files.append(pathlib.Path(scratch) / f"made-{form}-{way}")
                    files[-1].write_bytes(padded)
            for target in names:
                folder = corpus / target
                folder.mkdir(parents=True, exist_ok=True)
                for path in files:
                    shutil.copyfile(path, folder / f"form-{path.name}")
        print(f"{name}: {len(files)} pictures")


if __name__ == "__main__":
    main()
