// The C++ layer as a host uses it, built as C++17 against the shared library:
// its lifetimes, exceptions and orders, and which export each method reaches.
#include <vortan.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <iterator>
#include <vector>

namespace {

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

    vortan::Qudit a(3);
    vortan::Qudit moved = std::move(a);
    EXPECT_TRUE(a.handle() == nullptr && moved.dimension() == 3);
    EXPECT_EQ(error_of([&] { a.cycle(); }).code(), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(error_of([&] { (void)a.dimension(); }).function(), "vortan_quantum_property_get_dimension");
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
    batch.clear();
    batch.x(x);
    x = vortan::Qudit(2);  // the batch still holds the first handle
    batch.run();
    EXPECT_EQ(x.measure(), 0);
}

TEST(CppLifetimes, factorize_and_destroy_waits_for_controls_and_batches) {
    vortan::Qudit a(2), b(2);
    a.hadamard();
    {
        vortan::Control a_is_1 = a.is(1);
        b.cycle(a_is_1);
        EXPECT_THROW(a.factorize_and_destroy(), std::logic_error);
    }
    {
        vortan::Batch batch;
        batch.z(a);
        EXPECT_THROW(a.factorize_and_destroy(), std::logic_error);
    }
    EXPECT_NE(a.handle(), nullptr);
    vortan::measure(a);
    a.factorize_and_destroy();
    EXPECT_TRUE(a.handle() == nullptr && b.active_qudits() == 1u);
    a.factorize_and_destroy();  // empty: nothing to do
}

TEST(CppErrors, carry_code_message_and_function_and_a_batch_keeps_what_ran) {
    const vortan::Error e = error_of([] { vortan::Qudit q(4); });
    EXPECT_EQ(e.code(), VORTAN_ERROR_INVALID_DIMENSION);
    EXPECT_EQ(e.message(), "dimension must be positive and not exceed MAX_DIMENSION");
    EXPECT_STREQ(e.what(), "vortan_quantum_property_create: dimension must be positive and not exceed MAX_DIMENSION");
    vortan::Qudit qubit(2), qutrit(3);
    EXPECT_EQ(error_of([&] { qubit.swap_with(qutrit); }).code(), VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS);
    EXPECT_EQ(error_of([&] { vortan::force(qutrit, {5}); }).code(), VORTAN_ERROR_INVALID_ARGUMENT);

    vortan::Batch batch;  // non-finite numbers are refused before recording
    EXPECT_THROW(batch.x(qubit, INFINITY), std::invalid_argument);
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
    list.push_back(std::move(b));
    list.push_back(std::move(a));
    EXPECT_EQ(vortan::measure(list), (std::vector<std::int32_t>{2, 1}));
}

// Each method gives the state the export it names gives, with the same
// fraction: whole or a power, the right direction, the batch as the single call.
TEST(CppGates, each_method_reaches_its_export_with_its_fraction) {
    using C = vortan_quantum_property*;
    const std::pair<std::function<void(vortan::Qudit&)>, std::function<vortan_result(C)>> forms[] = {
        {[](vortan::Qudit& q) { q.shift(); }, [](C p) { return vortan_shift_operation(p, 1.0, nullptr, 0, nullptr); }},
        {[](vortan::Qudit& q) { q.cycle(0.5); }, [](C p) { return vortan_cycle_operation(p, 0.5, nullptr, 0, nullptr); }},
        {[](vortan::Qudit& q) { q.clock(-0.3); }, [](C p) { return vortan_clock_operation(p, -0.3, nullptr, 0, nullptr); }},
        {[](vortan::Qudit& q) { q.hadamard(); }, [](C p) { return vortan_hadamard_operation(p, nullptr, 0, nullptr); }},
        {[](vortan::Qudit& q) { q.inverse_hadamard(); }, [](C p) { return vortan_inverse_hadamard_operation(p, nullptr, 0, nullptr); }},
        {[](vortan::Qudit& q) { q.hadamard(0.3); }, [](C p) { return vortan_fractional_hadamard_operation(p, 0.3, nullptr, 0, nullptr); }},
        {[](vortan::Qudit& q) { vortan::Batch().hadamard(q, 0.3).run(); },
         [](C p) { return vortan_fractional_hadamard_operation(p, 0.3, nullptr, 0, nullptr); }},
        {[](vortan::Qudit& q) { vortan::Batch().cycle(q).run(); }, [](C p) { return vortan_cycle_operation(p, 1.0, nullptr, 0, nullptr); }},
    };
    for (std::size_t i = 0; i < std::size(forms); ++i) {
        vortan::Qudit layer(3), host(3);
        for (vortan::Qudit* q : {&layer, &host}) q->cycle(), q->hadamard(0.5);  // unequal amplitudes and phases
        forms[i].first(layer);
        ASSERT_EQ(forms[i].second(host.handle()), VORTAN_SUCCESS);
        EXPECT_EQ(vortan::density_matrix(layer).elements(), vortan::density_matrix(host).elements()) << i;
    }
}
