"""Packages the plug-in of one build, twice, and runs it out of the package.

package_test.py BUILD PLUGIN_BUILD PLATFORM_FOLDER VERSION CMAKE READELF OBJDUMP QUILLIX_HOST...
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import zipfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
build, plugin_build, folder, version, cmake, readelf, objdump, *host = sys.argv[1:]
build = pathlib.Path(build)


def run(command, **options):
    result = subprocess.run(command, stdout=subprocess.PIPE, text=True, **options)
    assert result.returncode == 0, f"{command}: {result.returncode}\n{result.stdout}"
    return result.stdout


def package(plugins, output):
    run(
        [sys.executable, ROOT / "tools" / "package.py"]
        + ["--plugins", plugins, "--version", version, "--output", output],
        env={**os.environ, "SOURCE_DATE_EPOCH": "1000000000"},
    )
    return [output / f"Quillix-{version}.xojo_plugin", output / f"Quillix-{version}.zip"]


with tempfile.TemporaryDirectory() as temporary:
    temporary = pathlib.Path(temporary)
    plugins = temporary / "plugins"
    run([cmake, "--install", plugin_build, "--component", "plugin", "--strip", "--prefix", plugins])
    archives = package(plugins, temporary / "first")

    # Neither times nor permissions nor what lies about get in.
    suffix = {"Linux": ".so", "Windows": ".dll", "Mac": ".dylib"}[folder.split()[0]]
    member = f"Quillix/Build Resources/{folder}/Quillix{suffix}"
    os.utime(plugins / member, (1, 1))
    (plugins / member).chmod(0o600)
    (plugins / ".DS_Store").write_text("clutter")
    for first, second in zip(archives, package(plugins, temporary / "second")):
        assert first.read_bytes() == second.read_bytes(), f"{first.name} differs"

    unpacked = temporary / "unpacked"
    for archive in archives:
        with zipfile.ZipFile(archive) as content:
            content.extractall(unpacked)
            if archive.suffix == ".xojo_plugin":
                assert content.namelist() == [member], content.namelist()
    companions = unpacked / f"Quillix-{version}"
    for name in ["README.md", "LICENSE", "docs/performance.md", "support/quillix.py"]:
        assert (companions / name).read_bytes() == (ROOT / name).read_bytes(), name

    for document in companions.rglob("*.md"):
        text = re.sub(r"```.*?```|`[^`]*`", "", document.read_text(), flags=re.DOTALL)
        for target in re.findall(r"\]\(([^)#\s]+)", text):
            found = target.startswith("https:") or (document.parent / target).exists()
            assert found, f"{document}: there is no {target}"

    plugin = unpacked / member
    checks = ROOT / "cmake" / "CheckPluginFile.cmake"
    run([cmake, f"-DPLUGIN={plugin}", f"-DREADELF={readelf}", f"-DOBJDUMP={objdump}", "-P", checks])
    assert f"Quillix {version}\0".encode() in plugin.read_bytes(), "the file does not say its version"

    # Every place that names the version names this one.
    environment = dict(os.environ)
    environment.update(line.split("=", 1) for line in (build / "run.env").read_text().splitlines())
    loaded = "QUILLIX_MACHO" if "QUILLIX_MACHO" in environment else "QUILLIX_PLUGIN_PATH"
    environment[loaded] = str(plugin)
    assert run([*host, "--version"], env=environment) == f"Quillix {version}\n"
    assert f"\n## [{version}]" in (companions / "CHANGELOG.md").read_text()
    assert f"\n__version__ = '{version}'\n" in (companions / "support" / "quillix.py").read_text()

    assert environment["QUILLIX_PLUGIN_PATH"] in run([*host, "check"], env=environment)
    projects = sorted((companions / "examples").glob("*/*.xojo_project"))
    assert projects, "no examples"
    for project in projects:
        lines = project.parent / "input.txt"
        with open(lines if lines.exists() else os.devnull) as given:
            output = run([*host, "run", project], env=environment, stdin=given)
        assert output == (project.parent / "output.txt").read_text(), output
