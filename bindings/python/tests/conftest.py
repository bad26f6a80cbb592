"""Recordings that gxfilter makes, and what it makes of them."""

import os
import subprocess
from pathlib import Path

import numpy as np
import pytest
from hypothesis import HealthCheck, settings

import filter_processor as fp

# The same examples in every run, however slow the machine.
settings.register_profile(
    "same", derandomize=True, deadline=None, suppress_health_check=[HealthCheck.too_slow])
settings.load_profile("same")

GXFILTER = os.environ.get("GXFILTER", "gxfilter")


def gxfilter(*arguments):
    done = subprocess.run([GXFILTER, *map(str, arguments)], capture_output=True, text=True, timeout=120)
    assert done.returncode == 0, done.stderr
    return done.stdout


def pictures(folder):
    return [np.asarray(frame) for frame in fp.open(folder)]


@pytest.fixture(scope="session")
def scene(tmp_path_factory):
    """Six depth frames of 320 x 240."""
    folder = tmp_path_factory.mktemp("scene")
    gxfilter("synth", "--size", "320x240", "--frames", 6, "--out", folder)
    return folder


@pytest.fixture(scope="session")
def codes(tmp_path_factory):
    """The same as disparity codes of 12 bits."""
    folder = tmp_path_factory.mktemp("codes")
    gxfilter("synth", "--size", "320x240", "--frames", 6, "--out", folder, "--pixel-type", "disparity")
    return folder


@pytest.fixture
def depth(scene):
    return np.array(next(iter(fp.open(scene))))


def resident():
    """Bytes that this process keeps in memory."""
    return int(Path("/proc/self/statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE")
