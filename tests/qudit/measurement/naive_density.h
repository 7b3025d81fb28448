#pragma once
// The plain pair loop the grouped density matrix is checked against lives in
// density_matrix_test.cc, its only user.
