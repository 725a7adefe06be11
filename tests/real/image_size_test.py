"""Sizes of pictures made by the encoders of ImageMagick, libjpeg and giflib."""

import shutil
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from page_runner import PageTest

SIZES = [(1, 1), (120, 40), (255, 257), (1000, 333)]
IMAGEMAGICK = shutil.which("convert-im6.q16")  # under its own name: "convert" may be another program


def picture(width, height):
    """A picture of many colours in the portable format (PPM)."""
    rows = bytes((x * 7 + y * 13 + channel * 31) % 256
                 for y in range(height) for x in range(width) for channel in range(3))
    return b"P6\n%d %d\n255\n" % (width, height) + rows


class Encoders(PageTest):
    def measure(self, name):
        return self.run_page(f"^imgsize[{name}]^item[0] ^item[1]")

    def check(self, name, encode):
        for width, height in SIZES:
            with self.subTest(width=width, height=height):
                source = self.write("picture.ppm", picture(width, height))
                encode(source, self.www / name)
                self.assertEqual(self.measure(name), f"{width} {height}")

    @unittest.skipUnless(shutil.which("cjpeg"), "needs the package libjpeg-turbo-progs")
    def test_cjpeg_baseline(self):
        self.check("a.jpg", lambda source, to: subprocess.run(["cjpeg", "-outfile", to, source], check=True))

    @unittest.skipUnless(shutil.which("cjpeg"), "needs the package libjpeg-turbo-progs")
    def test_cjpeg_progressive(self):
        self.check("a.JPG", lambda source, to: subprocess.run(["cjpeg", "-progressive", "-outfile", to, source],
                                                              check=True))

    @unittest.skipUnless(shutil.which("cjpeg"), "needs the package libjpeg-turbo-progs")
    def test_cjpeg_grey_with_restarts(self):
        self.check("a.jpg", lambda source, to: subprocess.run(
            ["cjpeg", "-grayscale", "-restart", "1", "-quality", "95", "-outfile", to, source], check=True))

    @unittest.skipUnless(shutil.which("cjpeg") and shutil.which("jpegtran"), "needs the package libjpeg-turbo-progs")
    def test_jpegtran_from_baseline_to_progressive(self):
        def encode(source, to):
            subprocess.run(["cjpeg", "-outfile", self.root / "baseline", source], check=True)
            subprocess.run(["jpegtran", "-progressive", "-outfile", to, self.root / "baseline"], check=True)
        self.check("a.jpg", encode)

    @unittest.skipUnless(IMAGEMAGICK, "needs the package imagemagick")
    def test_imagemagick_jpeg(self):
        self.check("a.jpg", lambda source, to: subprocess.run([IMAGEMAGICK, source, to], check=True))

    @unittest.skipUnless(IMAGEMAGICK, "needs the package imagemagick")
    def test_imagemagick_progressive_jpeg(self):
        self.check("a.jpg", lambda source, to: subprocess.run([IMAGEMAGICK, source, "-interlace", "JPEG", to],
                                                              check=True))

    @unittest.skipUnless(IMAGEMAGICK, "needs the package imagemagick")
    def test_imagemagick_gif(self):
        self.check("a.gif", lambda source, to: subprocess.run([IMAGEMAGICK, source, to], check=True))

    @unittest.skipUnless(IMAGEMAGICK, "needs the package imagemagick")
    def test_imagemagick_moving_gif(self):
        self.check("a.gif", lambda source, to: subprocess.run([IMAGEMAGICK, source, source, to], check=True))

    @unittest.skipUnless(shutil.which("gifbuild"), "needs the package giflib-tools")
    def test_giflib(self):
        for width, height in SIZES[:3]:
            line = "".join("01"[x % 2] for x in range(width))
            text = (f"screen width {width}\nscreen height {height}\nscreen colors 2\nscreen background 0\n"
                    "screen map\n\trgb 000 000 000 is 0\n\trgb 255 255 255 is 1\nend\n"
                    f"image # 1\nimage left 0\nimage top 0\nimage bits {width} by {height}\n"
                    + "\n".join([line] * height) + "\n\n")
            built = subprocess.run(["gifbuild"], input=text.encode(), capture_output=True, check=True).stdout
            self.write("www/a.gif", built)
            self.assertEqual(self.measure("a.gif"), f"{width} {height}")


if __name__ == "__main__":
    unittest.main()
