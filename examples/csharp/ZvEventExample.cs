// zvEvent from C# by P/Invoke; a 64-bit process of .NET 5 or later, or of Mono.
//
//     ZvEventExample CONFIG
//
// CONFIG is the configuration file. Raises an alert and clears it; a callback prints what was
// delivered. The library's file (zvEvent.dll, libzvEvent.so) lies beside the program or where the
// system looks for libraries.
using System;
using System.Runtime.InteropServices;
using System.Text;

static class ZvEvent
{
    public const uint Ok = 0;
    public const uint Warning = 2;
    const uint ApiVersion = 0x00010000;

    // zvEventRecord: the fields in the order of zvEvent.h. Texts are UTF-8, ended by a zero byte.
    [StructLayout(LayoutKind.Sequential)]
    public struct Record
    {
        public uint StructSize, Version;
        public ulong EventId;
        public IntPtr EventType, SourceId, SourceName, Message;
        public uint Severity, Reserved;
        public IntPtr Action, DedupeKey, CorrelationId;
        public ulong UtcNs, PtpNs;
        public long Pts;
        public IntPtr Timecode;
        public double Value, Threshold;
        public IntPtr Units;
        public ulong DurationMs;
        public IntPtr DetailsJson;
    }

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    public delegate void Callback(IntPtr record, IntPtr userData);

    const string Library = "zvEvent";
    [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
    static extern uint zvEventInitialize(byte[] configPath);
    [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
    static extern uint zvEventShutdown();
    [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
    static extern uint zvEventSubmit(ref Record record);
    [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
    static extern uint zvEventRegisterCallback(Callback callback, IntPtr userData, out uint id);
    [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
    static extern uint zvEventGetLastError(byte[] buffer, uint bufferSize);

    // Kept from the garbage collector: the library calls it until the shutdown.
    static Callback registered;

    public static void Start(string configPath, Callback callback)
    {
        uint id;
        registered = callback;
        Check(zvEventRegisterCallback(registered, IntPtr.Zero, out id));
        Check(zvEventInitialize(Encoding.UTF8.GetBytes(configPath + "\0")));
    }

    public static void Stop()
    {
        Check(zvEventShutdown());
    }

    public static void Submit(string message, string action, double value)
    {
        var record = new Record
        {
            StructSize = (uint)Marshal.SizeOf(typeof(Record)),
            Version = ApiVersion,
            Severity = Warning,
            Message = Utf8(message),
            Action = Utf8(action),
            EventType = Utf8("temperature"),
            SourceId = Utf8("psu-1"),
            Value = value,
            Units = Utf8("C")
        };
        uint result = zvEventSubmit(ref record);
        foreach (IntPtr text in new[] { record.Message, record.Action, record.EventType,
                                        record.SourceId, record.Units })
            Marshal.FreeHGlobal(text);
        Check(result);
    }

    public static string Text(IntPtr utf8)
    {
        int length = 0;
        while (Marshal.ReadByte(utf8, length) != 0) ++length;
        var bytes = new byte[length];
        Marshal.Copy(utf8, bytes, 0, length);
        return Encoding.UTF8.GetString(bytes);
    }

    static IntPtr Utf8(string text)
    {
        byte[] bytes = Encoding.UTF8.GetBytes(text + "\0");
        IntPtr copy = Marshal.AllocHGlobal(bytes.Length);
        Marshal.Copy(bytes, 0, copy, bytes.Length);
        return copy;
    }

    // Right after the call and on its thread, which the text belongs to.
    static void Check(uint result)
    {
        if (result == Ok) return;
        var buffer = new byte[512];
        zvEventGetLastError(buffer, (uint)buffer.Length);
        throw new InvalidOperationException(
            Encoding.UTF8.GetString(buffer, 0, Array.IndexOf(buffer, (byte)0)));
    }
}

static class Program
{
    // On the library's thread. No exception may leave it.
    static void Show(IntPtr record, IntPtr userData)
    {
        var delivered = (ZvEvent.Record)Marshal.PtrToStructure(record, typeof(ZvEvent.Record));
        Console.WriteLine("{0} {1}", ZvEvent.Text(delivered.Action), ZvEvent.Text(delivered.Message));
    }

    static int Main(string[] arguments)
    {
        if (arguments.Length != 1)
        {
            Console.Error.WriteLine("usage: ZvEventExample CONFIG");
            return 2;
        }
        ZvEvent.Start(arguments[0], Show);
        try
        {
            ZvEvent.Submit("Power supply 1 is too hot", "raise", 81.5);
            ZvEvent.Submit("Power supply 1 is cool again", "clear", 62.0);
        }
        finally
        {
            ZvEvent.Stop();
        }
        return 0;
    }
}
