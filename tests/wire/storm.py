"""Applies transactions as fast as asked, in the namespace that it is started in.

storm.py SECONDS PAUSE FILE...: the files' commands in turn, with so many seconds in between.
Says how many transactions it made.
"""

import ctypes
import sys
import time

library = ctypes.CDLL("libnftables.so.1")
library.nft_ctx_new.restype = ctypes.c_void_p
library.nft_run_cmd_from_buffer.argtypes = [ctypes.c_void_p, ctypes.c_char_p]

context = library.nft_ctx_new(0)
end = time.monotonic() + float(sys.argv[1])
commands = [open(name, "rb").read() for name in sys.argv[3:]]
count = 0
while time.monotonic() < end:
    if library.nft_run_cmd_from_buffer(context, commands[count % len(commands)]) != 0:
        sys.exit("a transaction failed")
    count += 1
    time.sleep(float(sys.argv[2]))
print(count)
