"""count_tests.py RESULTS: sums up what ctest wrote as JUnit's XML, with the cases of GoogleTest's programs
counted one by one, and lists why some were skipped."""

import collections
import re
import sys
import xml.etree.ElementTree

passed = failed = 0
skipped = re.compile(r"^skipped: (?:(\d+) cases: )?(.*)$", re.M)
reasons = collections.Counter()
for test in xml.etree.ElementTree.parse(sys.argv[1]).getroot():
    output = test.findtext("system-out") or ""
    if "[==========] Running" in output:
        passed += len(re.findall(r"^\[       OK \]", output, re.M))
        lost = len(re.findall(r"^\[  FAILED  \] .* \(\d+ ms\)$", output, re.M))
        left_out = re.findall(r": Skipped\n(.*)\n", output)
        # A program that died leaves the rest of its cases undone.
        planned = int(re.search(r"^\[==========\] Running (\d+) test", output, re.M)[1])
        done = len(re.findall(r"^\[       OK \]", output, re.M)) + lost + len(left_out)
        failed += max(lost + planned - done, int(test.get("status") == "fail"))
        reasons.update(left_out)
    elif test.get("status") == "run":
        passed += 1
    elif said := skipped.search(output):
        reasons[said[2]] += int(said[1] or 1)
    else:
        failed += 1
for reason, count in reasons.most_common():
    print(f"  skipped {count}: {reason}")
print(f"{passed} passed, {failed} failed, {sum(reasons.values())} skipped")
sys.exit(failed > 0 or passed == 0)
