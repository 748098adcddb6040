#!/usr/bin/env python3
"""The Kubernetes manifest is YAML and has what an indexed Job needs. usage: manifest_test.py FILE"""
import pathlib
import sys

try:
    import yaml
except ImportError:
    print("PyYAML is not installed (python3-yaml)")
    sys.exit(77)

file = pathlib.Path(sys.argv[1])
job = yaml.safe_load(file.read_text())
assert (job["apiVersion"], job["kind"]) == ("batch/v1", "Job")
spec = job["spec"]
assert spec["completionMode"] == "Indexed" and 0 < spec["parallelism"] <= spec["completions"]
pod = spec["template"]["spec"]
assert pod["restartPolicy"] == "Never"  # what backoffLimitPerIndex asks for
mounts = {mount["name"] for box in pod["containers"] for mount in box["volumeMounts"]}
assert mounts == {volume["name"] for volume in pod["volumes"]}
(container,) = pod["containers"]
script = container["args"][0].split()[1]
assert (file.parent / pathlib.Path(script).name).exists() and "$JOB_COMPLETION_INDEX" in container[
    "args"][0]
assert container["resources"]["requests"].keys() == {"cpu", "memory"}
