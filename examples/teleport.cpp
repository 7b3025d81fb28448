// An example C++ host: teleports random qubit states through vortan.hpp and
// checks that the receiver's reduced density matrix is the sent state's.
//
//     teleport [trials] [seed]
//
// Exits 1 on the first state that arrives wrong, 2 on a library failure.
#include <vortan.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace {

using cplx = std::complex<double>;
constexpr double PI = 3.14159265358979323846;
// The library reports density elements in single precision.
constexpr double TOLERANCE = 1e-5;

// X^t then Z^p on |0>: X^t gives (1 + e^(i pi t))/2 |0> + (1 - e^(i pi t))/2 |1>,
// and Z^p turns |1> by e^(i pi p).
std::array<cplx, 2> prepared_state(double t, double p) {
    const cplx turn = std::polar(1.0, PI * t);
    return {(1.0 + turn) / 2.0, (1.0 - turn) / 2.0 * std::polar(1.0, PI * p)};
}

// Sends the state X^t Z^p |0> from msg to bob; returns the largest deviation of
// bob's density matrix from the sent one.
double teleport_once(double t, double p) {
    vortan::Qudit msg(2), alice(2), bob(2);
    msg.x(t);
    msg.z(p);

    {
        // alice and bob share a Bell pair; msg is then entangled with alice's half.
        vortan::Batch entangle;
        entangle.hadamard(alice)
            .cycle(bob, alice.is(1))
            .cycle(alice, msg.is(1))
            .hadamard(msg);
        entangle.run();
    }  // the batch lets go of the qudits here, so they can be removed below

    const std::vector<std::int32_t> bits = vortan::measure({msg, alice});
    if (bits[1] == 1) bob.x();
    if (bits[0] == 1) bob.z();

    // Measured qudits leave the group without disturbing bob.
    msg.factorize_and_destroy();
    alice.factorize_and_destroy();
    if (bob.active_qudits() != 1) {
        std::fprintf(stderr, "bob still shares a state of %zu qudits\n", bob.active_qudits());
        std::exit(EXIT_FAILURE);
    }

    const std::array<cplx, 2> psi = prepared_state(t, p);
    const vortan::DensityMatrix rho = vortan::density_matrix(bob);
    double deviation = 0.0;
    for (std::size_t r = 0; r < 2; ++r)
        for (std::size_t c = 0; c < 2; ++c)
            deviation = std::max(deviation, std::abs(rho(r, c) - psi[r] * std::conj(psi[c])));
    return deviation;
}

}  // namespace

int main(int argc, char** argv) try {
    const int trials = argc > 1 ? std::atoi(argv[1]) : 200;
    const unsigned seed = argc > 2 ? static_cast<unsigned>(std::stoul(argv[2])) : std::random_device{}();
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);

    std::printf("libvortan %s: teleporting %d random qubit states (seed %u)\n", vortan::version().c_str(), trials,
                seed);
    double worst = 0.0;
    for (int i = 0; i < trials; ++i) {
        // Uniform on the sphere: the polar angle's cosine is uniform.
        const double t = std::acos(1.0 - 2.0 * unit(rng)) / PI;
        const double p = 2.0 * unit(rng) - 1.0;
        const double deviation = teleport_once(t, p);
        worst = std::max(worst, deviation);
        if (deviation > TOLERANCE) {
            std::fprintf(stderr, "trial %d (t=%.6f, p=%.6f) arrived off by %.3g\n", i, t, p, deviation);
            return EXIT_FAILURE;
        }
    }
    std::printf("every state arrived; largest deviation of a density element: %.3g\n", worst);
    return EXIT_SUCCESS;
} catch (const vortan::Error& e) {
    std::fprintf(stderr, "error %d: %s\n", static_cast<int>(e.code()), e.what());
    return 2;
}
