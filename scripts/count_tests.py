"""count_tests.py RESULTS: sums up what ctest wrote as JUnit's XML, with the cases of GoogleTest's programs
counted one by one, and lists why some were skipped."""

import collections
import re
import sys
import xml.etree.ElementTree

passed = failed = 0
reasons = collections.Counter()
for test in xml.etree.ElementTree.parse(sys.argv[1]).getroot():
    output = test.findtext("system-out") or ""
    if "[==========] Running" in output:
        passed += len(re.findall(r"^\[       OK \]", output, re.M))
        lost = len(re.findall(r"^\[  FAILED  \] .* \(\d+ ms\)$", output, re.M))
        # A program that died names no failed case.
        failed += max(lost, int(test.get("status") == "fail"))
        reasons.update(re.findall(r": Skipped\n(.*)\n", output))
    elif test.get("status") == "run":
        passed += 1
    elif test.get("status") == "fail":
        failed += 1
    else:
        said = re.search(r"^skipped: (.*)$", output, re.M)
        reasons[said[1] if said else "of what this build leaves out"] += 1
for reason, count in reasons.most_common():
    print(f"  skipped {count}: {reason}")
print(f"{passed} passed, {failed} failed, {sum(reasons.values())} skipped")
