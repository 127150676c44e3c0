#!/usr/bin/python3
"""Checks that the compiler made vector code of a loop: that a function of an ARM object has a loop that works on
16-byte registers and touches no single bytes.

    check_vector_loop.py OBJDUMP OBJECT FUNCTION INSTRUCTION...

FUNCTION is the start of its demangled name. INSTRUCTIONs, e.g. vceq.i8, must all be in the loop, on q registers."""
import re
import subprocess
import sys


def disassemble(objdump, path, function):
    """The function's instructions as (address, mnemonic, operands)."""
    text = subprocess.run([objdump, "-d", "--demangle", "--no-show-raw-insn", path],
                          check=True, capture_output=True, text=True).stdout
    body = re.search(rf"^[0-9a-f]+ <{re.escape(function)}[^\n]*>:\n(.*?)(?:\n\n|\Z)", text, re.M | re.S)
    if not body:
        sys.exit(f"{path} has no function {function}")
    lines = (line.split("\t") for line in body[1].splitlines())
    return [(int(words[0].strip(" :"), 16), words[1].strip(), words[2] if len(words) > 2 else "")
            for words in lines if len(words) > 1]


def loops(instructions):
    """The instructions of each stretch that ends in a branch back to its start."""
    for address, mnemonic, operands in instructions:
        target = re.match(r"([0-9a-f]+) <", operands)
        if mnemonic.startswith("b") and target and int(target[1], 16) <= address:
            yield [one for one in instructions if int(target[1], 16) <= one[0] <= address]


def is_vector_loop(loop, wanted):
    on_vectors = {mnemonic for _, mnemonic, operands in loop if re.match(r"q\d", operands)}
    single_bytes = any(re.match(r"(ldr|str)s?b", mnemonic) for _, mnemonic, _ in loop)
    return wanted <= on_vectors and not single_bytes


def main():
    objdump, path, function, *wanted = sys.argv[1:]
    found = list(loops(disassemble(objdump, path, function)))
    if not any(is_vector_loop(loop, set(wanted)) for loop in found):
        sys.exit(f"none of the {len(found)} loops of {function} works on vectors with {' '.join(wanted)}")


if __name__ == "__main__":
    main()
