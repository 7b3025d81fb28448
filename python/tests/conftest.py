# Tests import the package from this source tree; the library comes from
# VORTAN_LIBRARY (set by CTest) or the loader's search.
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
