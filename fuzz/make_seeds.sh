#!/bin/sh
# Writes the seed programs of corpus/. Each byte is one choice of the decoder
# in session.cc (a zero byte is the ordinary choice); the opcodes of a step:
#   00 library  01 callback  02 create  04 destroy  05 factorize  06 accessor
#   07 predicate  09 drop predicate  0a sizes  0b one-target gate  0d Hadamard
#   0f swap/i-swap  10 phase  11 measure  12 forced  13 probabilities
#   14 density  15 projection  16 batch  18 Hadamard on all  19 merge all
set -eu
cd "$(dirname "$0")/corpus"
seed() { name=$1; shift; printf "$(printf '\\%03o' "$@")" > "$name"; }
hex() { for b in "$@"; do printf '%d ' "0x$b"; done; }

# A Bell pair: two qubits, H, a predicate, a controlled cycle, then every read-out.
seed bell $(hex 01 01 00  02 00 00 00 00  02 01 00 00 00  0d 00 00 00 00 00 00  07 00 01 00 00 \
  0b 02 01 02 01 00 00 00  13 00 01 00 01 00 00 00 00 00 00 00 00 00 00 \
  14 00 01 00 01 00 00 00 00 00  11 00 01 00 01 00 00 00 00 00 00  05 00 00 00)
# Two qutrits through fractional gates, swaps, a forced outcome and a projection.
seed qutrits $(hex 02 00 01 00 00  02 01 01 00 00  0d 02 00 01 00 00 00  0b 00 01 00 02 00 00 00 \
  0f 00 00 01 00 01 00 00 00  0f 01 00 01 00 00 00  07 01 02 00 00  10 01 00 00 1f 00 \
  12 00 01 00 01 00 00 00 00 00 00 00 00 00  15 01 00 00 00 00  13 00 00 00 00 00 00 00 00)
# A batch of three operations, with and without predicates.
seed batch $(hex 02 00 00 00 00  02 01 00 00 00  07 00 01 00 00 \
  16 03  06 00 00 00 00 00 1c 00 00 00  00 01 00 00 00 00 00 01 00 00  04 01 00 00 00 02 00 00 00 \
  00 00 00 00  13 00 01 00 01 00 00 00 00 00 00 00 00 00 00)
# Refusals: bad dimensions, NULLs, empty lists, the callback set and cleared.
seed refusals $(hex 01 02 00  02 00 03 00 00  02 00 04 00 05  02 00 06 17 00  01 01 01  0a 00 00 17 00 00 00 \
  0b 00 00 1c 00 00 00  10 00 16 00 00  11 00 00 00 17 00 00 00 00 00  00 01  00 03 01  00 07 00 05 \
  06 f0 00 00  14 00 02 00 01 02 00 06 00 00 00)
# Many qutrits in one group, near the limits of qudits and entries.
seed crowd $(hex 02 00 01 00 00  02 01 01 00 00  02 02 01 00 00  02 03 01 00 00  02 04 01 00 00 \
  02 05 01 00 00  02 06 01 00 00  02 07 01 00 00 \
  0d 00 00 00 00 00  0d 00 01 00 00 00  0d 00 02 00 00 00  0d 00 03 00 00 00 \
  11 06 07 00 01 02 03 04 05 06 07 00 00 00 00 00 00 \
  04 00 00  02 00 01 00 00  0f 00 00 01 00 00 00 00 \
  13 07 07 00 00 00 00 00 00 00 00 00 00 00)
# The limits: 8 qutrits merged, 4 of them destroyed (their qudits stay) and
# replaced, merged again to 12 qudits and spread past 100000 entries; then a
# 13th qudit.
seed limits $(hex 02 00 01 00 00  02 01 01 00 00  02 02 01 00 00  02 03 01 00 00 \
  02 04 01 00 00  02 05 01 00 00  02 06 01 00 00  02 07 01 00 00  18 00 00  19 \
  04 00 00 00  04 00 00 00  04 00 00 00  04 00 00 00 \
  02 00 01 00 00  02 01 01 00 00  02 02 01 00 00  02 03 01 00 00  19  18 00 00 \
  04 00 00 00  02 00 01 00 00  19)
