"""Reads the proofs of proofs.toml."""
import dataclasses
import tomllib

import settings


@dataclasses.dataclass
class Proof:
    """One entry, on one JDK and in one variant. proofs.toml describes the members."""

    group: str
    what: str
    kind: str
    tree: str = "release"
    jdk: str = ""
    java_home: str = ""
    limit: int = 300
    alone: bool = False
    environment: dict = dataclasses.field(default_factory=dict)
    program: str = ""
    filter: str = "*"
    times: str = ""
    tests: str = ""
    built_by: list = dataclasses.field(default_factory=list)
    repetitions: int = 1
    seconds: int = 0

    def targets(self):
        """The targets to build in the tree; None for all."""
        return self.built_by or ([self.program.rpartition("/")[2]] if self.program else None)

    def __str__(self):
        place = ", ".join(part for part in (self.tree, self.jdk) if part)
        return f"{self.group}: {self.what} ({place})"


_OWN_KEYS = ("quick", "each_jdk", "variants")


def _of_entry(entry, jdks, quick):
    """One proof for each variant and JDK."""
    common = {key: value for key, value in entry.items() if key not in _OWN_KEYS}
    counts = dict(common.pop("environment", {}))
    for key, value in (entry.get("quick", {}) if quick else {}).items():
        if key in counts or key.isupper():
            counts[key] = value
        else:
            common[key] = value
    homes = jdks if entry.get("each_jdk", False) else {"": ""}
    for variant in entry.get("variants", [{"name": "", "environment": {}}]):
        what = ", ".join(part for part in (common["what"], variant["name"]) if part)
        for version, home in homes.items():
            yield Proof(**{**common, "what": what}, jdk=version, java_home=home,
                        environment={**counts, **variant["environment"]})


def load(quick):
    """All proofs, in the order of the file."""
    with open(settings.PROOFS, "rb") as text:
        entries = tomllib.load(text)["proof"]
    jdks = settings.jdks()
    return [proof for entry in entries for proof in _of_entry(entry, jdks, quick)]
