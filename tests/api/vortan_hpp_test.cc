// The C++ layer as a host uses it, built as C++17 against the shared library:
// its lifetimes, exceptions and orders, and the conventions the headers state.
#include <vortan.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

namespace {

using cplx = std::complex<double>;
constexpr double PI = 3.14159265358979323846;
constexpr double FLOAT_TOLERANCE = 1e-6;  // read-outs are single precision

vortan::Qudit qudit_at(int dimension, int value) {
    vortan::Qudit q(dimension);
    for (int i = 0; i < value; ++i) q.cycle();
    return q;
}

template <class Call>
vortan::Error error_of(Call call) {
    try {
        call();
    } catch (const vortan::Error& e) {
        return e;
    }
    ADD_FAILURE() << "no vortan::Error thrown";
    return vortan::Error(0, "", "");
}

// The density matrix of one pure qudit state psi, as the library reports it.
void expect_density_of(const vortan::Qudit& q, const std::vector<cplx>& psi) {
    const vortan::DensityMatrix rho = vortan::density_matrix(q);
    ASSERT_EQ(rho.dimension(), psi.size());
    for (std::size_t r = 0; r < psi.size(); ++r)
        for (std::size_t c = 0; c < psi.size(); ++c)
            EXPECT_LT(std::abs(rho(r, c) - psi[r] * std::conj(psi[c])), FLOAT_TOLERANCE) << r << "," << c;
}

// H[k][j] = w^(-jk) / sqrt(d), w = e^(2 pi i / d): the Hadamard as documented.
std::vector<std::vector<cplx>> documented_hadamard(int d) {
    std::vector<std::vector<cplx>> h(d, std::vector<cplx>(d));
    for (int k = 0; k < d; ++k)
        for (int j = 0; j < d; ++j) h[k][j] = std::polar(1.0 / std::sqrt(d), -2.0 * PI * j * k / d);
    return h;
}

std::vector<cplx> matrix_times(const std::vector<std::vector<cplx>>& m, const std::vector<cplx>& v) {
    std::vector<cplx> out(v.size());
    for (std::size_t r = 0; r < v.size(); ++r)
        for (std::size_t c = 0; c < v.size(); ++c) out[r] += m[r][c] * v[c];
    return out;
}

std::vector<cplx> basis(int d, int v) {
    std::vector<cplx> e(d);
    e[v] = 1.0;
    return e;
}

}  // namespace

TEST(CppLifetimes, control_keeps_its_qudit_alive_after_the_qudit_object_is_gone) {
    vortan::Qudit b(2);
    std::vector<vortan::Control> controls;
    {
        vortan::Qudit a(2);
        a.hadamard();
        controls.push_back(a.is(1));
    }
    b.cycle(controls);  // a's handle must still be alive for this
    const std::vector<double> p = vortan::probabilities(b);
    EXPECT_NEAR(p[0], 0.5, FLOAT_TOLERANCE);
    EXPECT_NEAR(p[1], 0.5, FLOAT_TOLERANCE);
    EXPECT_EQ(b.active_qudits(), 2u);
}

TEST(CppLifetimes, moved_from_handles_are_null_and_refused_with_code_1) {
    vortan::Qudit a(3);
    vortan::Qudit b = std::move(a);
    EXPECT_EQ(a.handle(), nullptr);
    EXPECT_EQ(b.dimension(), 3);
    EXPECT_EQ(error_of([&] { a.cycle(); }).code(), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(error_of([&] { (void)a.dimension(); }).function(), "vortan_quantum_property_get_dimension");
    EXPECT_EQ(error_of([&] { (void)a.is(0); }).function(), "vortan_predicate_create");

    vortan::Control c = b.is(0);
    vortan::Control d = std::move(c);
    EXPECT_EQ(c.handle(), nullptr);
    vortan::Qudit t(3);
    EXPECT_EQ(error_of([&] { t.cycle(c); }).code(), VORTAN_ERROR_INTERNAL);  // a null predicate in the array
    t.cycle(d);
    EXPECT_NEAR(vortan::probabilities(t)[1], 1.0, FLOAT_TOLERANCE);
}

TEST(CppLifetimes, factorize_and_destroy_waits_for_controls_and_batches) {
    vortan::Qudit a(2), b(2);
    a.hadamard();
    {
        vortan::Control a_is_1 = a.is(1);
        b.cycle(a_is_1);
        EXPECT_THROW(a.factorize_and_destroy(), std::logic_error);
        EXPECT_NE(a.handle(), nullptr);
    }
    {
        vortan::Batch batch;
        batch.z(a);
        EXPECT_THROW(a.factorize_and_destroy(), std::logic_error);
    }
    vortan::measure(a);  // measured first, so no warning on removal
    a.factorize_and_destroy();
    EXPECT_EQ(a.handle(), nullptr);
    EXPECT_EQ(b.active_qudits(), 1u);
    a.factorize_and_destroy();  // empty: nothing to do
}

TEST(CppLifetimes, batch_holds_temporary_controls_and_can_run_twice) {
    vortan::Qudit a(2), b(2), c(2);
    vortan::Batch batch;
    batch.x(a).cycle(b, {a.is(1), c.is_not(1)});  // the Controls die here
    batch.run();                                   // a=1, b=1
    batch.run();                                   // a=0, b stays
    EXPECT_EQ(batch.size(), 2u);
    EXPECT_EQ(vortan::measure({a, b}), (std::vector<std::int32_t>{0, 1}));
}

TEST(CppErrors, carry_code_message_and_function) {
    const vortan::Error e = error_of([] { vortan::Qudit q(4); });
    EXPECT_EQ(e.code(), VORTAN_ERROR_INVALID_DIMENSION);
    EXPECT_EQ(e.function(), "vortan_quantum_property_create");
    EXPECT_EQ(e.message(), "dimension must be positive and not exceed MAX_DIMENSION");
    EXPECT_STREQ(e.what(), "vortan_quantum_property_create: dimension must be positive and not exceed MAX_DIMENSION");

    vortan::Qudit qubit(2), qutrit(3);
    EXPECT_EQ(error_of([&] { qutrit.y(); }).code(), VORTAN_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(error_of([&] { qubit.swap_with(qutrit); }).code(), VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS);
    EXPECT_EQ(error_of([&] { qubit.x(qubit.is(0)); }).code(), VORTAN_ERROR_TARGET_CONTROL_OVERLAP);
    EXPECT_EQ(error_of([&] { qubit.x(std::nan("")); }).message(), "fraction must be finite");
    EXPECT_EQ(error_of([&] { vortan::force(qutrit, {5}); }).code(), VORTAN_ERROR_INVALID_ARGUMENT);
}

TEST(CppErrors, batch_refuses_non_finite_numbers_before_recording) {
    vortan::Qudit a(2);
    vortan::Batch batch;
    EXPECT_THROW(batch.x(a, INFINITY), std::invalid_argument);
    EXPECT_THROW(batch.i_swap(a, a, NAN), std::invalid_argument);
    EXPECT_THROW(batch.phase_rotate(INFINITY, a.is(1)), std::invalid_argument);
    EXPECT_THROW(batch.phase_rotate(1.0, {}), std::invalid_argument);
    EXPECT_EQ(batch.size(), 0u);
}

TEST(CppErrors, failed_batch_reports_how_far_it_got_and_keeps_that) {
    vortan::Qudit qubit(2), qutrit(3);
    vortan::Batch batch;
    batch.x(qubit).y(qutrit).x(qubit);
    try {
        batch.run();
        FAIL() << "a Y on a qutrit ran";
    } catch (const vortan::BatchError& e) {
        EXPECT_EQ(e.code(), VORTAN_ERROR_INTERNAL);
        EXPECT_EQ(e.ops_executed(), 1u);
        EXPECT_EQ(e.message(), "Y gate requires dimension 2 (qubit)");
        EXPECT_EQ(e.function(), "vortan_execute_batch");
    }
    EXPECT_EQ(qubit.measure(), 1);

    vortan::Qudit gone(2);
    batch.clear();
    batch.x(gone);
    gone = vortan::Qudit(2);  // the batch still holds the first handle
    batch.run();
    EXPECT_EQ(gone.measure(), 0);
}

TEST(CppOrders, first_listed_qudit_is_the_fastest_digit) {
    vortan::Qudit a = qudit_at(2, 1), b = qudit_at(3, 2);
    const std::vector<double> p = vortan::probabilities({a, b});
    ASSERT_EQ(p.size(), 6u);
    for (std::size_t k = 0; k < p.size(); ++k) EXPECT_EQ(p[k], k == 1 + 2 * 2 ? 1.0 : 0.0) << k;

    const vortan::DensityMatrix rho = vortan::density_matrix({b, a});
    ASSERT_EQ(rho.dimension(), 6u);
    EXPECT_NEAR(rho(2 + 3 * 1, 2 + 3 * 1).real(), 1.0, FLOAT_TOLERANCE);
    EXPECT_NEAR(std::abs(rho.elements()[0]), 0.0, FLOAT_TOLERANCE);

    EXPECT_EQ(vortan::measure({b, a}), (std::vector<std::int32_t>{2, 1}));
    std::vector<vortan::Qudit> list;
    list.push_back(qudit_at(3, 1));
    list.push_back(qudit_at(2, 1));
    EXPECT_EQ(vortan::measure(list), (std::vector<std::int32_t>{1, 1}));
}

TEST(CppConventions, shift_moves_down_and_cycle_up) {
    for (int v = 0; v < 3; ++v) {
        vortan::Qudit down = qudit_at(3, v), up = qudit_at(3, v);
        down.shift();
        up.cycle();
        EXPECT_EQ(down.measure(), (v + 2) % 3) << v;
        EXPECT_EQ(up.measure(), (v + 1) % 3) << v;
    }
}

TEST(CppConventions, hadamard_has_negative_exponent_and_its_inverse_positive) {
    const auto h = documented_hadamard(3);
    for (int v = 0; v < 3; ++v) {
        vortan::Qudit q = qudit_at(3, v), inverse = qudit_at(3, v);
        q.hadamard();
        inverse.inverse_hadamard();
        const std::vector<cplx> psi = matrix_times(h, basis(3, v));
        std::vector<cplx> conjugate(psi);
        for (cplx& z : conjugate) z = std::conj(z);
        expect_density_of(q, psi);
        expect_density_of(inverse, conjugate);
    }
}

// c_n(f) = (1 + e^(i pi (f - n)) + 2 cos(pi (f - n) / 2)) / 4 and
// H^f = sum over n = 0..3 of c_n(f) H^n, as the headers write them out.
TEST(CppConventions, fractional_hadamard_is_the_documented_sum_of_powers) {
    for (int d : {2, 3}) {
        const auto h = documented_hadamard(d);
        for (double f : {0.3, 0.5, -0.7, 1.5, 2.25}) {
            for (int v = 0; v < d; ++v) {
                std::vector<cplx> power = basis(d, v), expected(d);
                for (int n = 0; n < 4; ++n) {
                    const double y = f - n;
                    const cplx c = (1.0 + std::polar(1.0, PI * y) + 2.0 * std::cos(PI * y / 2)) / 4.0;
                    for (int k = 0; k < d; ++k) expected[k] += c * power[k];
                    power = matrix_times(h, power);
                }
                vortan::Qudit q = qudit_at(d, v), batched = qudit_at(d, v);
                q.hadamard(f);
                vortan::Batch().hadamard(batched, f).run();
                SCOPED_TRACE(testing::Message() << "d=" << d << " f=" << f << " v=" << v);
                expect_density_of(q, expected);
                expect_density_of(batched, expected);
            }
        }
    }
}
