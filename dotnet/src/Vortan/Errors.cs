using System;
using System.Runtime.ExceptionServices;
using System.Runtime.InteropServices;

namespace Vortan
{
    /// <summary>The status codes of libvortan.</summary>
    public enum ErrorCode
    {
        /// <summary>The call succeeded.</summary>
        Success = 0,
        /// <summary>A required pointer was null.</summary>
        NullPointer = 1,
        /// <summary>An argument was out of its range, or an outcome was impossible.</summary>
        InvalidArgument = 2,
        /// <summary>An output buffer was too small.</summary>
        BufferTooSmall = 3,
        /// <summary>A qudit dimension outside 2 to 3.</summary>
        InvalidDimension = 4,
        /// <summary>Too many qudits in one shared state.</summary>
        InvalidQuditNumber = 5,
        /// <summary>A qudit was both target and control of one gate.</summary>
        TargetControlOverlap = 100,
        /// <summary>Two targets of different dimensions.</summary>
        IncompatibleDimensions = 101,
        /// <summary>A state would pass 100000 basis entries; it was left unchanged.</summary>
        StateSizeExceeded = 102,
        /// <summary>The library ran out of memory.</summary>
        OutOfMemory = 200,
        /// <summary>Any other failure, among them every failure inside a running batch.</summary>
        Internal = 900,
    }

    /// <summary>A failure reported by libvortan: its code, its message and the exported function that failed.</summary>
    public class VortanException : Exception
    {
        /// <summary>Makes an exception for a reported failure.</summary>
        /// <param name="code">The status code.</param>
        /// <param name="message">The library's message.</param>
        /// <param name="function">The exported function that failed, or null if it took no error record.</param>
        /// <param name="line">The library's source line that reported it, 0 if unknown.</param>
        public VortanException(ErrorCode code, string message, string? function, uint line)
            : base(message)
        {
            Code = code;
            Function = function;
            Line = line;
        }

        /// <summary>The status code.</summary>
        public ErrorCode Code { get; }

        /// <summary>The exported function that reported the failure, such as "vortan_shift_operation"; null for functions that take no error record.</summary>
        public string? Function { get; }

        /// <summary>The library's source line that reported the failure; 0 if unknown.</summary>
        public uint Line { get; }

        /// <summary>Makes the exception subclass that belongs to <paramref name="code"/>.</summary>
        public static VortanException Create(ErrorCode code, string message, string? function, uint line) => code switch
        {
            ErrorCode.NullPointer => new VortanNullPointerException(message, function, line),
            ErrorCode.InvalidArgument => new VortanInvalidArgumentException(message, function, line),
            ErrorCode.BufferTooSmall => new VortanBufferTooSmallException(message, function, line),
            ErrorCode.InvalidDimension => new InvalidDimensionException(message, function, line),
            ErrorCode.InvalidQuditNumber => new InvalidQuditNumberException(message, function, line),
            ErrorCode.TargetControlOverlap => new TargetControlOverlapException(message, function, line),
            ErrorCode.IncompatibleDimensions => new IncompatibleDimensionsException(message, function, line),
            ErrorCode.StateSizeExceeded => new StateSizeExceededException(message, function, line),
            ErrorCode.OutOfMemory => new VortanOutOfMemoryException(message, function, line),
            ErrorCode.Internal => new VortanInternalException(message, function, line),
            _ => new VortanException(code, message, function, line),
        };
    }

    /// <summary>Code 1: a required pointer was null.</summary>
    public sealed class VortanNullPointerException : VortanException
    {
        /// <summary>Makes the exception.</summary>
        public VortanNullPointerException(string message, string? function, uint line) : base(ErrorCode.NullPointer, message, function, line) { }
    }

    /// <summary>Code 2: an argument was out of range, or a forced outcome was impossible.</summary>
    public sealed class VortanInvalidArgumentException : VortanException
    {
        /// <summary>Makes the exception.</summary>
        public VortanInvalidArgumentException(string message, string? function, uint line) : base(ErrorCode.InvalidArgument, message, function, line) { }
    }

    /// <summary>Code 3: an output buffer was too small.</summary>
    public sealed class VortanBufferTooSmallException : VortanException
    {
        /// <summary>Makes the exception.</summary>
        public VortanBufferTooSmallException(string message, string? function, uint line) : base(ErrorCode.BufferTooSmall, message, function, line) { }
    }

    /// <summary>Code 4: a qudit dimension outside 2 to 3.</summary>
    public sealed class InvalidDimensionException : VortanException
    {
        /// <summary>Makes the exception.</summary>
        public InvalidDimensionException(string message, string? function, uint line) : base(ErrorCode.InvalidDimension, message, function, line) { }
    }

    /// <summary>Code 5: more qudits than one shared state may hold.</summary>
    public sealed class InvalidQuditNumberException : VortanException
    {
        /// <summary>Makes the exception.</summary>
        public InvalidQuditNumberException(string message, string? function, uint line) : base(ErrorCode.InvalidQuditNumber, message, function, line) { }
    }

    /// <summary>Code 100: a qudit was both target and control of one gate; nothing was applied.</summary>
    public sealed class TargetControlOverlapException : VortanException
    {
        /// <summary>Makes the exception.</summary>
        public TargetControlOverlapException(string message, string? function, uint line) : base(ErrorCode.TargetControlOverlap, message, function, line) { }
    }

    /// <summary>Code 101: two targets of different dimensions.</summary>
    public sealed class IncompatibleDimensionsException : VortanException
    {
        /// <summary>Makes the exception.</summary>
        public IncompatibleDimensionsException(string message, string? function, uint line) : base(ErrorCode.IncompatibleDimensions, message, function, line) { }
    }

    /// <summary>Code 102: the state would pass its size limit; it was refused in advance.</summary>
    public sealed class StateSizeExceededException : VortanException
    {
        /// <summary>Makes the exception.</summary>
        public StateSizeExceededException(string message, string? function, uint line) : base(ErrorCode.StateSizeExceeded, message, function, line) { }
    }

    /// <summary>Code 200: the library ran out of memory.</summary>
    public sealed class VortanOutOfMemoryException : VortanException
    {
        /// <summary>Makes the exception.</summary>
        public VortanOutOfMemoryException(string message, string? function, uint line) : base(ErrorCode.OutOfMemory, message, function, line) { }
    }

    /// <summary>Code 900: any other failure.</summary>
    public sealed class VortanInternalException : VortanException
    {
        /// <summary>Makes the exception.</summary>
        public VortanInternalException(string message, string? function, uint line) : base(ErrorCode.Internal, message, function, line) { }
    }

    /// <summary>A batch that failed, before or while running; operations that ran stay applied.</summary>
    public sealed class BatchException : VortanException
    {
        /// <summary>Makes the exception.</summary>
        /// <param name="code">1 or 2 if nothing ran, 900 for any failure while running.</param>
        /// <param name="message">The batch's message, such as "op 2 (VORTAN_OP_SHIFT): target cannot be NULL".</param>
        /// <param name="operationsExecuted">How many operations completed; also the index of the one that failed.</param>
        public BatchException(ErrorCode code, string message, long operationsExecuted)
            : base(code, message, "vortan_execute_batch", 0)
        {
            OperationsExecuted = operationsExecuted;
        }

        /// <summary>How many operations completed, which is also the index of the one that failed.</summary>
        public long OperationsExecuted { get; }
    }

    /// <summary>What the library reported about one failure, as handed to <see cref="VortanLibrary.ErrorReported"/>.</summary>
    public sealed class ErrorReportedEventArgs : EventArgs
    {
        internal ErrorReportedEventArgs(ErrorCode code, string message, string? function, uint line)
        {
            Code = code;
            Message = message;
            Function = function;
            Line = line;
        }

        /// <summary>The status code.</summary>
        public ErrorCode Code { get; }
        /// <summary>The library's message.</summary>
        public string Message { get; }
        /// <summary>The exported function that failed.</summary>
        public string? Function { get; }
        /// <summary>The library's source line that reported it.</summary>
        public uint Line { get; }
    }

    internal static unsafe class Errors
    {
        // A handler of ErrorReported that throws must not unwind through the
        // library's frames: its exception waits here until the call has returned.
        [ThreadStatic] private static ExceptionDispatchInfo? t_handlerFailure;

        internal static void SetHandlerFailure(Exception e) => t_handlerFailure = ExceptionDispatchInfo.Capture(e);

        internal static string Text(byte* chars, int capacity)
        {
            int length = 0;
            while (length < capacity && chars[length] != 0) length++;
            return System.Text.Encoding.UTF8.GetString(chars, length);
        }

        internal static ErrorReportedEventArgs Read(ErrorInfo* info) =>
            new ErrorReportedEventArgs((ErrorCode)info->Code, Text(info->Message, 256),
                                       info->Function == IntPtr.Zero ? null : Marshal.PtrToStringAnsi(info->Function),
                                       info->Line);

        /// <summary>Throws for a failed call that filled <paramref name="info"/>.</summary>
        internal static void Check(int code, ErrorInfo* info)
        {
            if (code == 0) return;
            ExceptionDispatchInfo? handlerFailure = t_handlerFailure;
            t_handlerFailure = null;
            handlerFailure?.Throw();
            ErrorReportedEventArgs e = Read(info);
            throw VortanException.Create((ErrorCode)code, e.Message, e.Function, e.Line);
        }

        /// <summary>Throws for a failed call of a function that takes no error record.</summary>
        internal static void Check(int code, string function)
        {
            if (code == 0) return;
            string text = Marshal.PtrToStringAnsi(Native.vortan_get_error_string(code)) ?? "Unknown error";
            throw VortanException.Create((ErrorCode)code, text, function, 0);
        }
    }
}
