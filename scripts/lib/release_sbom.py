"""The list of what is linked into the programs: an SPDX 2.3 document."""
import datetime
import json
import os
import subprocess

# The headers of what is linked in, as the compiler finds them, have the versions.
HEADERS = """
#include <_mingw_mac.h>
#include <boost/version.hpp>
#include <CLI/Version.hpp>
#include <expat.h>
#include <fmt/format.h>
#include <pthread.h>
#include <pugixml.hpp>
#include <zipconf.h>
#include <zlib.h>
"""
# Each entry: name, the version as an expression of the headers, the factors of its parts if it is one number, and the
# licence. The headers of Debian's compiler do not say its minor version. The versions of its libraries are therefore
# those of their Debian packages, and the expression is the library's file.
PACKAGES = [
    ("boost", "BOOST_VERSION", (100000, 100), "BSL-1.0"),
    ("cli11", "CLI11_VERSION", None, "BSD-3-Clause"),
    ("expat", "XML_MAJOR_VERSION.XML_MINOR_VERSION.XML_MICRO_VERSION", None, "MIT"),
    ("fmt", "FMT_VERSION", (10000, 100), "MIT"),
    ("libgcc", "libgcc.a", None, "GPL-3.0-or-later WITH GCC-exception-3.1"),
    ("libstdc++", "libstdc++.a", None, "GPL-3.0-or-later WITH GCC-exception-3.1"),
    ("libzip", "LIBZIP_VERSION", None, "BSD-3-Clause"),
    ("mingw-w64", "__MINGW64_VERSION_MAJOR.__MINGW64_VERSION_MINOR.__MINGW64_VERSION_BUGFIX", None, "ZPL-2.1"),
    ("pugixml", "PUGIXML_VERSION", (1000, 10), "MIT"),
    ("winpthreads",
     "__WINPTHREADS_VERSION_MAJOR.__WINPTHREADS_VERSION_MINOR.__WINPTHREADS_VERSION_PATCHLEVEL", None,
     "MIT AND BSD-3-Clause"),
    ("zlib", "ZLIB_VERSION", None, "Zlib"),
]
MARK = "VERSION_OF"


def linked_versions(compiler, includes):
    """{name: version} of PACKAGES, by this compiler with these folders of headers."""
    source = HEADERS + "".join(f"\n{MARK} {name} = {expression}" for name, expression, _, _ in PACKAGES) + "\n"
    command = [compiler, "-std=c++20", "-E", "-P", *(f"-I{folder}" for folder in includes), "-x", "c++", "-"]
    written = subprocess.run(command, input=source, stdout=subprocess.PIPE, check=True, text=True).stdout
    found = {}
    for line in written.splitlines():
        if line.startswith(MARK):
            name, _, value = line.removeprefix(MARK).partition("=")
            found[name.strip()] = value.replace(" ", "").strip('"')
    for name, expression, _, _ in PACKAGES:
        if expression.endswith(".a"):
            found[name] = packaged_version(compiler, expression)
    return {name: dotted(found[name], factors) for name, _, factors, _ in PACKAGES}


def packaged_version(compiler, library):
    """The version, without Debian's own part, of the package that has this library of the compiler."""
    def output(*words):
        return subprocess.run(words, stdout=subprocess.PIPE, check=True, text=True).stdout.strip()

    path = os.path.realpath(output(compiler, f"-print-file-name={library}"))
    owner = output("dpkg-query", "--search", path).split(": ")[0]
    return output("dpkg-query", "--show", "--showformat", "${Version}", owner).split("-")[0]


def dotted(value, factors):
    """The version that a header writes as text, or as a number of which these are the factors."""
    if factors:
        large, small = factors
        number = int(value)
        value = f"{number // large}.{number // small % (large // small)}.{number % small}"
    if not all(part.isdecimal() for part in value.split(".")):
        raise ValueError(f"not a version: {value}")
    return value


def package(name, version, licence, purl, **more):
    return {
        "SPDXID": "SPDXRef-" + name.replace("+", "x"),
        "name": name,
        "versionInfo": version,
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": "NOASSERTION",
        "licenseDeclared": licence,
        "copyrightText": "NOASSERTION",
        "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                          "referenceLocator": purl}],
        **more,
    }


def make_sbom(version, commit, date, versions):
    """The document's text. `date` is in seconds since 1970, `versions` is that of linked_versions()."""
    product = package("vandrel", version, "NOASSERTION", f"pkg:generic/vandrel@{version}",
                      primaryPackagePurpose="APPLICATION", sourceInfo=f"built from the commit {commit}")
    libraries = [package(name, versions[name], licence, f"pkg:generic/{name.replace('+', '%2B')}@{versions[name]}",
                         primaryPackagePurpose="LIBRARY", comment=f"licences/{LICENCE_FILES.get(name, name)}.txt")
                 for name, _, _, licence in PACKAGES]
    relationships = [("SPDXRef-DOCUMENT", "DESCRIBES", product["SPDXID"])]
    relationships += [(product["SPDXID"], "STATIC_LINK", library["SPDXID"]) for library in libraries]
    created = datetime.datetime.fromtimestamp(date, datetime.timezone.utc)
    document = {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"vandrel-{version}",
        "documentNamespace": f"https://spdx.org/spdxdocs/vandrel-{version}-{commit}",
        "creationInfo": {"created": created.strftime("%Y-%m-%dT%H:%M:%SZ"),
                         "creators": ["Organization: vandrel", "Tool: scripts/release"]},
        "packages": [product, *libraries],
        "relationships": [{"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
                          for one, kind, other in relationships],
    }
    return json.dumps(document, indent=2) + "\n"


# The files of licences/ that have another name than the package.
LICENCE_FILES = {"libgcc": "gcc", "libstdc++": "gcc", "winpthreads": "mingw-w64"}
