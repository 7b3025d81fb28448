using System;
using System.Runtime.InteropServices;

namespace Vortan
{
    /// <summary>The library as a whole: version, limits, status texts and the error event.</summary>
    public static class VortanLibrary
    {
        private static readonly object s_lock = new();
        private static EventHandler<ErrorReportedEventArgs>? s_handlers;
        // Kept in a static field for as long as it is registered, so the collector
        // never frees the delegate the library holds a pointer to.
        private static unsafe readonly Native.ErrorCallback s_callback = OnError;
        private static readonly IntPtr s_callbackPointer = Marshal.GetFunctionPointerForDelegate(s_callback);

        /// <summary>The library's version text, such as "1.4.0".</summary>
        public static string VersionText
        {
            get
            {
                // The library rebuilds the text into one static buffer at every call.
                lock (s_lock) return Marshal.PtrToStringAnsi(Native.vortan_get_version()) ?? "";
            }
        }

        /// <summary>The library's version as three numbers.</summary>
        public static unsafe Version Version
        {
            get
            {
                uint major, minor, patch;
                Errors.Check(Native.vortan_get_version_info(&major, &minor, &patch), "vortan_get_version_info");
                return new Version((int)major, (int)minor, (int)patch);
            }
        }

        /// <summary>The largest dimension of a qudit: 3.</summary>
        public static int MaxDimension => (int)Native.vortan_get_max_dimension();

        /// <summary>The largest number of qudits in one shared state: 12.</summary>
        public static int MaxQudits => (int)Native.vortan_get_max_qudits();

        /// <summary>The largest number of basis entries one state may hold: 100000.</summary>
        public static int MaxStateSize => (int)Native.vortan_get_max_state_size();

        /// <summary>Whether the boundary accepts <paramref name="dimension"/>: true for 1 to 3, though no qudit of dimension 1 can be made.</summary>
        public static bool IsValidDimension(int dimension) => Native.vortan_is_valid_dimension(dimension) != 0;

        /// <summary>The library's text for a status code, "Unknown error" for a value that is none.</summary>
        public static string GetErrorString(ErrorCode code) => Marshal.PtrToStringAnsi(Native.vortan_get_error_string((int)code)) ?? "";

        /// <summary>
        /// Raised on the failing call's thread, before its exception is thrown, for every failure the
        /// library reports into an error record (all calls of this layer pass one).
        /// </summary>
        /// <remarks>
        /// There is one registration for the whole process: subscribe before starting work on other
        /// threads. An exception thrown by a handler replaces the failure's own exception.
        /// </remarks>
        public static event EventHandler<ErrorReportedEventArgs>? ErrorReported
        {
            add
            {
                lock (s_lock)
                {
                    bool first = s_handlers is null;
                    s_handlers += value;
                    if (first && s_handlers is not null) Native.vortan_set_error_callback(s_callbackPointer, IntPtr.Zero);
                }
            }
            remove
            {
                lock (s_lock)
                {
                    s_handlers -= value;
                    if (s_handlers is null) Native.vortan_set_error_callback(IntPtr.Zero, IntPtr.Zero);
                }
            }
        }

        /// <summary>Clears the error callback and every <see cref="ErrorReported"/> handler; qudits and controls stay valid.</summary>
        public static void Cleanup()
        {
            lock (s_lock)
            {
                s_handlers = null;
                Native.vortan_cleanup();
            }
        }

        /// <summary>
        /// Frees the qudits that were finalised without Dispose and last used on the calling thread.
        /// </summary>
        /// <remarks>
        /// Freeing a qudit edits the state it shares with its partners, so finalisers only queue it;
        /// each thread frees its queue whenever it creates or disposes a qudit or control, or calls this.
        /// </remarks>
        /// <returns>How many were freed.</returns>
        public static int ReleaseAbandonedQudits() => QuditHandle.ReleaseAbandoned();

        private static unsafe void OnError(ErrorInfo* info, IntPtr userData)
        {
            EventHandler<ErrorReportedEventArgs>? handlers = s_handlers;
            if (handlers is null) return;
            try
            {
                handlers(null, Errors.Read(info));
            }
            catch (Exception e)
            {
                // Never unwind through the library's frames; rethrown once the call returns.
                Errors.SetHandlerFailure(e);
            }
        }
    }
}
