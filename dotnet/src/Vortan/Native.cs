using System;
using System.Runtime.InteropServices;

namespace Vortan
{
    /// <summary>The C boundary of libvortan, one import per export, with blittable arguments only.</summary>
    /// <remarks>Handles travel as raw pointers; callers hold a <see cref="Lease"/> on their safe handles for the call.</remarks>
    internal static unsafe class Native
    {
        // Probed as libvortan.so / vortan.so beside the assemblies, then on the loader path.
        internal const string Library = "vortan";

        internal const int ErrorInfoSize = 280;
        internal const int BatchOpSize = 56;
        internal const int ProbabilityEntrySize = 24;
        internal const int DensityElementSize = 8;

#if NET5_0_OR_GREATER
        // An install that carries only the runtime package has libvortan.so.1 and no
        // unversioned link; try that name when the usual probing finds nothing.
#pragma warning disable CA2255 // a library's module initialiser is what registers a resolver before the first import
        [System.Runtime.CompilerServices.ModuleInitializer]
        internal static void RegisterResolver() =>
            NativeLibrary.SetDllImportResolver(typeof(Native).Assembly, (name, assembly, path) =>
            {
                if (name != Library) return IntPtr.Zero;
                if (NativeLibrary.TryLoad(name, assembly, path, out IntPtr handle)) return handle;
                NativeLibrary.TryLoad("libvortan.so.1", assembly, path, out handle);
                return handle;
            });
#pragma warning restore CA2255
#endif

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void ErrorCallback(ErrorInfo* info, IntPtr userData);

        [DllImport(Library)] internal static extern int vortan_initialize();
        [DllImport(Library)] internal static extern int vortan_cleanup();
        [DllImport(Library)] internal static extern IntPtr vortan_get_version();
        [DllImport(Library)] internal static extern int vortan_get_version_info(uint* major, uint* minor, uint* patch);
        [DllImport(Library)] internal static extern uint vortan_get_max_dimension();
        [DllImport(Library)] internal static extern uint vortan_get_max_qudits();
        [DllImport(Library)] internal static extern uint vortan_get_max_state_size();
        [DllImport(Library)] internal static extern byte vortan_is_valid_dimension(int dimension);
        [DllImport(Library)] internal static extern IntPtr vortan_get_error_string(int code);
        [DllImport(Library)] internal static extern void vortan_set_error_callback(IntPtr callback, IntPtr userData);

        [DllImport(Library)] internal static extern int vortan_quantum_property_create(int dimension, IntPtr* property, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_quantum_property_destroy(IntPtr* property);
        [DllImport(Library)] internal static extern int vortan_quantum_property_factorize_and_destroy(IntPtr* property, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_quantum_property_get_dimension(IntPtr property, uint* dimension);
        [DllImport(Library)] internal static extern int vortan_quantum_property_get_num_active_qudits(IntPtr property, nuint* count);
        [DllImport(Library)] internal static extern int vortan_quantum_property_get_state_vector_size(IntPtr property, nuint* size);
        [DllImport(Library)] internal static extern int vortan_predicate_create(IntPtr property, int value, byte isEqual, IntPtr* predicate);
        [DllImport(Library)] internal static extern int vortan_predicate_destroy(IntPtr* predicate);
        [DllImport(Library)] internal static extern int vortan_calculate_combinations_count(IntPtr* properties, nuint count, nuint* combinations);
        [DllImport(Library)] internal static extern int vortan_calculate_matrix_size(IntPtr* properties, nuint count, nuint* dimension, nuint* size);

        [DllImport(Library)] internal static extern int vortan_shift_operation(IntPtr property, double fraction, IntPtr* predicates, nuint count, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_clock_operation(IntPtr property, double fraction, IntPtr* predicates, nuint count, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_cycle_operation(IntPtr property, double fraction, IntPtr* predicates, nuint count, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_x_operation(IntPtr property, double fraction, IntPtr* predicates, nuint count, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_y_operation(IntPtr property, double fraction, IntPtr* predicates, nuint count, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_z_operation(IntPtr property, double fraction, IntPtr* predicates, nuint count, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_hadamard_operation(IntPtr property, IntPtr* predicates, nuint count, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_inverse_hadamard_operation(IntPtr property, IntPtr* predicates, nuint count, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_fractional_hadamard_operation(IntPtr property, double fraction, IntPtr* predicates, nuint count, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_swap_operation(IntPtr property1, IntPtr property2, IntPtr* predicates, nuint count, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_i_swap_operation(IntPtr property1, IntPtr property2, double fraction, IntPtr* predicates, nuint count, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_phase_rotate_operation(IntPtr* predicates, nuint count, double angle, ErrorInfo* error);

        [DllImport(Library)] internal static extern int vortan_measure_properties(IntPtr* properties, nuint count, int* output, nuint size, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_forced_measure_properties(IntPtr* properties, nuint count, int* forced, nuint forcedCount, int* output, nuint size, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_calculate_probabilities(IntPtr* properties, nuint count, ProbabilityEntry* output, nuint size, nuint* written, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_calculate_reduced_density_matrix(IntPtr* properties, nuint count, DensityElement* output, nuint size, nuint* dimension, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_stochastic_projection_modern(IntPtr* predicates, nuint count, int* result, ErrorInfo* error);
        [DllImport(Library)] internal static extern int vortan_execute_batch(BatchOp* ops, nuint count, BatchResult* result, ErrorInfo* error);
    }

    /// <summary>vortan_error_info: code @0, message @4, function @264, line @272; 280 bytes.</summary>
    [StructLayout(LayoutKind.Sequential)]
    internal unsafe struct ErrorInfo
    {
        public int Code;
        public fixed byte Message[256];
        public uint Reserved0;
        public IntPtr Function;
        public uint Line;
        public uint Reserved1;
    }

    /// <summary>vortan_probability_entry; 24 bytes.</summary>
    [StructLayout(LayoutKind.Sequential)]
    internal unsafe struct ProbabilityEntry
    {
        public float Probability;
        public uint Reserved0;
        public int* OutcomeValues;
        public nuint OutcomeCount;
    }

    /// <summary>vortan_density_element; 8 bytes.</summary>
    [StructLayout(LayoutKind.Sequential)]
    internal struct DensityElement
    {
        public float Real;
        public float Imag;
    }

    /// <summary>vortan_batch_op; 56 bytes. A NaN fraction asks for the whole gate.</summary>
    [StructLayout(LayoutKind.Sequential)]
    internal unsafe struct BatchOp
    {
        public uint Opcode;
        public uint Reserved0;
        public IntPtr Target;
        public IntPtr Target2;
        public double Fraction;
        public double Angle;
        public IntPtr* Predicates;
        public nuint PredicateCount;
    }

    /// <summary>vortan_batch_result.</summary>
    [StructLayout(LayoutKind.Sequential)]
    internal unsafe struct BatchResult
    {
        public ulong OpsExecuted;
        public int ErrorCode;
        public fixed byte ErrorMessage[256];
    }
}
