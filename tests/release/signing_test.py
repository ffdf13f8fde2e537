#!/usr/bin/env python3
"""Signs a release: signing_test.py RELEASE_SCRIPT BUILD VERSION DATE COMMIT. The test makes the certificate."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
import zipfile

script, build, version, date, commit = sys.argv[1:]


class signing(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        cls.run_program("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
                        "/CN=Test of vandrel", "-addext", "extendedKeyUsage=codeSigning", "-keyout", "key.pem", "-out",
                        "certificate.pem")
        cls.run_program("openssl", "pkcs12", "-export", "-inkey", "key.pem", "-in", "certificate.pem", "-out",
                        "certificate.p12", "-passout", "pass:secret")
        (cls.folder / "password").write_text("secret")
        cls.run_program(sys.executable, "-B", script, build, cls.folder / "release", "--date", date, "--commit", commit,
                        "--sign", "-pkcs12", "certificate.p12", "-readpass", "password")
        with zipfile.ZipFile(cls.folder / "release" / f"vandrel-{version}-windows-x64.zip") as archive:
            archive.extractall(cls.folder)
        cls.product = cls.folder / f"vandrel-{version}-windows-x64"

    @classmethod
    def run_program(cls, *words):
        done = subprocess.run([str(word) for word in words], cwd=cls.folder, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        if done.returncode != 0:
            raise RuntimeError(done.stdout)
        return done.stdout

    def verify(self, file):
        return subprocess.run(["osslsigncode", "verify", "-CAfile", "certificate.pem", "-in", file], cwd=self.folder,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)

    def signed_files(self):
        programs = [path for path in self.product.iterdir() if path.suffix in (".exe", ".dll")]
        self.assertEqual(len(programs), 5)
        installers = sorted((self.folder / "release").glob("*.msi"))
        self.assertEqual(len(installers), 2)
        return programs + installers

    def test_programs_and_installers_have_the_signature_of_the_certificate(self):
        for file in self.signed_files():
            result = self.verify(file)
            self.assertEqual(result.returncode, 0, (file, result.stdout))
            self.assertIn("CN=Test of vandrel", result.stdout.replace("CN = ", "CN="))

    def test_a_changed_file_fails(self):
        for file in self.signed_files():
            changed = self.folder / ("changed" + file.suffix)
            image = bytearray(file.read_bytes())
            image[len(image) // 2] ^= 1
            changed.write_bytes(image)
            self.assertNotEqual(self.verify(changed).returncode, 0, file)

    def test_the_sums_are_those_of_the_signed_files(self):
        checked = subprocess.run(["sha256sum", "--check", "--strict", "SHA256SUMS"], cwd=self.folder / "release",
                                 capture_output=True, text=True, check=False)
        self.assertEqual((checked.returncode, checked.stdout.count(": OK\n")), (0, 4), checked)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
