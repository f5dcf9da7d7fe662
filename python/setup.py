"""The wheel is of one platform, for the library in it, and of every Python, as nothing else is
compiled. wheel.sh gives the version and the platform."""
import os

from setuptools import Distribution, setup
from wheel.bdist_wheel import bdist_wheel


class PlatformWheel(bdist_wheel):
    def get_tag(self):
        return "py3", "none", os.environ["KWPKI_PLATFORM"]


class NativeDistribution(Distribution):
    def has_ext_modules(self):
        return True


setup(distclass=NativeDistribution, version=os.environ["KWPKI_VERSION"],
      cmdclass={"bdist_wheel": PlatformWheel})
