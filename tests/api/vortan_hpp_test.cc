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

}  // namespace

TEST(CppLifetimes, controls_and_batches_keep_handles_alive_and_moved_from_ones_are_null) {
    vortan::Qudit b(2);
    std::vector<vortan::Control> controls;
    {
        vortan::Qudit a(2);
        a.hadamard();
        controls.push_back(a.is(1));
    }
    b.cycle(controls);  // a's handle must still be alive for this
    EXPECT_NEAR(vortan::probabilities(b)[1], 0.5, FLOAT_TOLERANCE);
    EXPECT_EQ(b.active_qudits(), 2u);

    vortan::Qudit a(3);
    vortan::Qudit moved = std::move(a);
    EXPECT_TRUE(a.handle() == nullptr && moved.dimension() == 3);
    EXPECT_EQ(error_of([&] { a.cycle(); }).code(), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(error_of([&] { (void)a.dimension(); }).function(), "vortan_quantum_property_get_dimension");
    EXPECT_EQ(error_of([&] { (void)a.is(0); }).function(), "vortan_predicate_create");
    vortan::Control c = moved.is(0);
    vortan::Control d = std::move(c);
    EXPECT_EQ(c.handle(), nullptr);
    vortan::Qudit t(3);
    EXPECT_EQ(error_of([&] { t.cycle(c); }).code(), VORTAN_ERROR_INTERNAL);  // a null predicate in the array
    t.cycle(d);
    EXPECT_NEAR(vortan::probabilities(t)[1], 1.0, FLOAT_TOLERANCE);

    vortan::Qudit x(2), y(2), z(2);
    vortan::Batch batch;
    batch.x(x).cycle(y, {x.is(1), z.is_not(1)});  // the Controls die here
    batch.run();                                   // x=1, y=1
    batch.run();                                   // x=0, y stays
    EXPECT_EQ(vortan::measure({x, y}), (std::vector<std::int32_t>{0, 1}));
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
    vortan::measure(a);
    a.factorize_and_destroy();
    EXPECT_EQ(a.handle(), nullptr);
    EXPECT_EQ(b.active_qudits(), 1u);
    a.factorize_and_destroy();  // empty: nothing to do
}

TEST(CppErrors, carry_code_message_and_function_and_a_batch_keeps_what_ran) {
    const vortan::Error e = error_of([] { vortan::Qudit q(4); });
    EXPECT_EQ(e.code(), VORTAN_ERROR_INVALID_DIMENSION);
    EXPECT_EQ(e.message(), "dimension must be positive and not exceed MAX_DIMENSION");
    EXPECT_STREQ(e.what(), "vortan_quantum_property_create: dimension must be positive and not exceed MAX_DIMENSION");
    vortan::Qudit qubit(2), qutrit(3);
    EXPECT_EQ(error_of([&] { qubit.swap_with(qutrit); }).code(), VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS);
    EXPECT_EQ(error_of([&] { qubit.x(qubit.is(0)); }).code(), VORTAN_ERROR_TARGET_CONTROL_OVERLAP);
    EXPECT_EQ(error_of([&] { qubit.x(std::nan("")); }).message(), "fraction must be finite");
    EXPECT_EQ(error_of([&] { vortan::force(qutrit, {5}); }).code(), VORTAN_ERROR_INVALID_ARGUMENT);

    vortan::Batch batch;  // non-finite numbers are refused before recording
    EXPECT_THROW(batch.x(qubit, INFINITY), std::invalid_argument);
    EXPECT_THROW(batch.i_swap(qubit, qubit, NAN), std::invalid_argument);
    EXPECT_THROW(batch.phase_rotate(INFINITY, qubit.is(1)), std::invalid_argument);
    EXPECT_THROW(batch.phase_rotate(1.0, {}), std::invalid_argument);
    EXPECT_EQ(batch.size(), 0u);
    batch.x(qubit).y(qutrit).x(qubit);
    try {
        batch.run();
        FAIL() << "a Y on a qutrit ran";
    } catch (const vortan::BatchError& e) {
        EXPECT_TRUE(e.code() == VORTAN_ERROR_INTERNAL && e.ops_executed() == 1u && e.function() == "vortan_execute_batch");
        EXPECT_EQ(e.message(), "Y gate requires dimension 2 (qubit)");
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
        EXPECT_EQ(down.measure() * 10 + up.measure(), (v + 2) % 3 * 10 + (v + 1) % 3) << v;
    }
}

// H[k][j] = w^(-jk) / sqrt(d), w = e^(2 pi i / d), and H^f = sum over n = 0..3
// of c_n(f) H^n with c_n(f) = (1 + e^(i pi (f - n)) + 2 cos(pi (f - n) / 2)) / 4,
// as the headers write them: f = 1 is the Hadamard, f = -1 its inverse.
TEST(CppConventions, hadamards_are_the_documented_matrix_and_sum_of_powers) {
    for (int d : {2, 3}) {
        for (double f : {1.0, -1.0, 0.3, 0.5, -0.7, 1.5, 2.25}) {
            for (int v = 0; v < d; ++v) {
                std::vector<cplx> power(d), expected(d);
                power[v] = 1.0;
                for (int n = 0; n < 4; ++n) {
                    const cplx c = (1.0 + std::polar(1.0, PI * (f - n)) + 2.0 * std::cos(PI * (f - n) / 2)) / 4.0;
                    std::vector<cplx> next(d);
                    for (int k = 0; k < d; ++k) {
                        expected[k] += c * power[k];
                        for (int j = 0; j < d; ++j) next[k] += std::polar(1.0 / std::sqrt(d), -2.0 * PI * j * k / d) * power[j];
                    }
                    power = next;
                }
                std::vector<vortan::Qudit> qs;
                for (int i = 0; i < 3; ++i) qs.push_back(qudit_at(d, v));
                qs[0].hadamard(f);
                vortan::Batch().hadamard(qs[1], f).run();
                if (f == 1.0) qs[2].hadamard();
                if (f == -1.0) qs[2].inverse_hadamard();
                SCOPED_TRACE(testing::Message() << "d=" << d << " f=" << f << " v=" << v);
                for (std::size_t i = 0; i < (std::abs(f) == 1.0 ? 3 : 2); ++i) {
                    const vortan::DensityMatrix rho = vortan::density_matrix(qs[i]);
                    ASSERT_EQ(rho.dimension(), std::size_t(d));
                    for (int r = 0; r < d; ++r)
                        for (int c = 0; c < d; ++c)
                            EXPECT_LT(std::abs(rho(r, c) - expected[r] * std::conj(expected[c])), FLOAT_TOLERANCE) << i << ":" << r << "," << c;
                }
            }
        }
    }
}
