# SPDX-License-Identifier: MIT
"""Where the figures come from: processor, compiler and the versions of the peers."""
import os
import platform
import re
import subprocess


def _output(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    return done.stdout.strip() if done.returncode == 0 else ""


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        text = info.read()
    model = re.search(r"model name\s*:\s*(.*)", text)
    flags = set(re.search(r"flags\s*:\s*(.*)", text).group(1).split())
    wide = [name for name in ("avx2", "avx512f", "avx512_vbmi", "avx512vbmi") if name in flags]
    return (model.group(1) if model else platform.machine()), wide


def distribution():
    with open("/etc/os-release", encoding="utf-8") as release:
        pretty = re.search(r'PRETTY_NAME="?([^"\n]*)', release.read())
    return pretty.group(1) if pretty else "Linux"


def compiler(build):
    """The compiler that CMake chose for the build directory, with its optimization flags."""
    with open(os.path.join(build, "CMakeCache.txt"), encoding="utf-8") as cache:
        text = cache.read()
    program = re.search(r"CMAKE_CXX_COMPILER:\w+=(.*)", text).group(1)
    kind = re.search(r"CMAKE_BUILD_TYPE:\w+=(.*)", text).group(1)
    flags = re.search(rf"CMAKE_CXX_FLAGS_{kind.upper()}:\w+=(.*)", text).group(1)
    return f"{_output(program, '--version').splitlines()[0]}, `{flags}`"


def package_version(package):
    version = _output("dpkg-query", "-W", "-f=${Version}", package)
    return re.sub(r"^\d+:", "", version) or "not installed"


def facts(build, context):
    """Pairs of name and value; `context` is that of the benchmark's JSON."""
    model, wide = processor()
    return [
        ("Processor", f"{model}, {os.cpu_count()} cores" + (f" ({', '.join(wide)})" if wide else "")),
        ("System", f"{distribution()}, Linux {platform.release()}"),
        ("Compiler", compiler(build)),
        ("C library", package_version("libc6")),
        ("Run", f"{context['date'][:10]}, load average at the start {context['load_avg'][0]:.1f}"),
    ]
