"""The library as a stranger gets it: what the shared object exports, and a program built against an installed copy."""

import json
import os
import re
import subprocess
import sys
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, "e2e"))
from support import main, stop, wait_for_text  # noqa: E402

SOURCE, BUILD, LIBRARY, CMAKE, COMPILER, NM = sys.argv[2:8]
REVIEWED = os.path.join(SOURCE, "tests", "embedding", "exported_symbols.txt")
EXAMPLE = os.path.join(SOURCE, "examples", "minimal_host")


def run(*command, **options):
    result = subprocess.run(command, capture_output=True, text=True, timeout=300, **options)
    assert result.returncode == 0, f"{command} ended with {result.returncode}\n" \
                                   f"{result.stdout[-3000:]}\n{result.stderr[:3000]}"
    return result.stdout


def exports_are_the_reviewed_ones(_):
    with open(REVIEWED) as file:
        reviewed = {line.strip() for line in file if line.strip() and not line.startswith("#")}
    exported = {line.split(" ", 2)[2].strip() for line in run(NM, "-DC", "--defined-only", LIBRARY).splitlines()}
    added, lost = sorted(exported - reviewed), sorted(reviewed - exported)
    assert not added and not lost, f"the library exports what nobody reviewed {added}, or no more exports {lost}"
    dynamic = run("readelf", "-d", LIBRARY)
    assert re.search(r"SONAME.*\[libindex_iface\.so\.[\d.]+\]", dynamic), dynamic


def install(scratch):
    prefix = os.path.join(scratch.path, "prefix")
    run(CMAKE, "--install", BUILD, "--prefix", prefix, "--component", "library")
    return prefix


def register(url, token_file):
    with open(token_file) as file:
        token = file.read().strip()
    request = urllib.request.Request(url + "api/shares", json.dumps({"name": "example"}).encode(), headers={
        "Authorization": "Bearer " + token, "Content-Type": "application/json"})
    with urllib.request.urlopen(request, timeout=30) as answer:
        return json.load(answer)


def serve(scratch):
    """Starts a server with one share; the settings file of a host for it, and the server."""
    data = scratch.make("data")
    server = scratch.start("server", "--data", data)
    url = wait_for_text(server, r"^(http\S+)$")[1]
    share = register(url, os.path.join(data, "admin_token"))
    settings = os.path.join(scratch.path, "settings.ini")
    with open(settings, "w") as file:
        file.write(f"[server]\nurl={url}\ntoken={share['token']}\n"
                   f"[Lumo]\nnDisableJournalSave=1\n"
                   f"[identity]\nweb_client_id=1\nweb_host=localhost\njob_results={scratch.path}\n"
                   f"client_id.{share['subclient_id']}={share['client_id']}\n"
                   f"[minimal_host]\nshare=example\nsubclient_id={share['subclient_id']}\n")
    return settings, server


def a_program_of_its_own_runs_on_the_installed_library(scratch):
    prefix = install(scratch)
    build = os.path.join(scratch.path, "build")
    run(CMAKE, "-S", EXAMPLE, "-B", build, "-DCMAKE_PREFIX_PATH=" + prefix, "-DCMAKE_CXX_COMPILER=" + COMPILER,
        "-DCMAKE_CXX_STANDARD=20")
    run(CMAKE, "--build", build)
    pkgconfig = next(folder for folder, _, names in os.walk(prefix) if "index_iface.pc" in names)
    flags = run("pkg-config", "--cflags", "--libs", "index_iface", "index_iface_hostkit",
                env=dict(os.environ, PKG_CONFIG_PATH=pkgconfig)).split()
    linked = os.path.join(build, "minimal_host_pc")
    run(COMPILER, "-std=c++20", "-Werror", os.path.join(EXAMPLE, "main.cpp"), *flags, "-o", linked)

    settings, server = serve(scratch)
    for program in ("minimal_host", "minimal_host_static", "minimal_host_pc"):
        # The second and third run report new versions of what is there already, which changes no answer.
        lines = run(os.path.join(build, program), settings, os.path.join(scratch.path, "state"),
                    env=dict(os.environ, LD_LIBRARY_PATH=os.path.dirname(pkgconfig))).splitlines()
        assert lines[:2] == ["pending: example-a", "renamed: example-b"], lines
        assert sorted(lines[2:]) == ["child: /example/a example-a", "child: /example/c example-b"], lines
    stop(server)


def every_installed_header_stands_alone(scratch):
    headers = os.path.join(install(scratch), "include", "index_iface")
    paths = [os.path.relpath(os.path.join(folder, name), headers)
             for folder, _, names in os.walk(headers) for name in names]
    assert os.path.join("core", "index_iface.h") in paths
    for path in paths:
        run(COMPILER, "-std=c++20", "-Wall", "-Wextra", "-Werror", "-fsyntax-only", "-I" + headers, "-x", "c++", "-",
            input=f"#include <{path}>\n#include <{path}>\n")


main(exports_are_the_reviewed_ones, every_installed_header_stands_alone,
     a_program_of_its_own_runs_on_the_installed_library)
