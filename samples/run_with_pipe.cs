// Starts vandrel with a pipe, and prints each record when it arrives:
//
//     run_with_pipe.exe C:\vandrel\vandrel.exe --list-devices
//
// vandrel's other output goes to standard error. The exit status is that of vandrel.

using System;
using System.Collections.Generic;
using System.ComponentModel;
using System.Diagnostics;
using System.IO;
using System.IO.Pipes;
using System.Linq;
using System.Runtime.InteropServices;
using System.Text;
using System.Xml;
using Microsoft.Win32.SafeHandles;

static class RunWithPipe
{
    const uint GenericWrite = 0x40000000;
    const uint OpenExisting = 3;
    const uint FileFlagOverlapped = 0x40000000;

    [StructLayout(LayoutKind.Sequential)]
    struct SecurityAttributes
    {
        public int Length;
        public IntPtr SecurityDescriptor;
        public int InheritHandle;
    }

    [DllImport("kernel32.dll", CharSet = CharSet.Unicode, SetLastError = true)]
    static extern SafeFileHandle CreateFileW(string name, uint access, uint sharing,
        ref SecurityAttributes security, uint disposition, uint flags, IntPtr template);

    // vandrel needs a write end that is overlapped and inheritable.
    static SafeFileHandle OpenWriter(string pipeName)
    {
        var security = new SecurityAttributes();
        security.Length = Marshal.SizeOf(security);
        security.InheritHandle = 1;
        var writer = CreateFileW(@"\\.\pipe\" + pipeName, GenericWrite, 0, ref security,
            OpenExisting, FileFlagOverlapped, IntPtr.Zero);
        if (writer.IsInvalid)
            throw new Win32Exception();
        return writer;
    }

    // Quotes a word as the C run-time's parser of command lines expects it.
    static string Quoted(string word)
    {
        var result = new StringBuilder("\"");
        var backslashes = 0;
        foreach (var c in word)
        {
            if (c == '"')
                result.Append('\\', backslashes + 1);
            backslashes = c == '\\' ? backslashes + 1 : 0;
            result.Append(c);
        }
        return result.Append('\\', backslashes).Append('"').ToString();
    }

    // A program started by Process inherits every inheritable handle. Start no other program between
    // OpenWriter and the writer's Dispose: it would keep the stream from ending.
    static Process Start(string program, IEnumerable<string> arguments, SafeFileHandle writer)
    {
        var words = arguments.Select(Quoted).ToList();
        words.Add("--output-pipe " + writer.DangerousGetHandle().ToInt64());
        var start = new ProcessStartInfo(program, string.Join(" ", words));
        start.UseShellExecute = false;
        start.CreateNoWindow = true;
        start.RedirectStandardOutput = true;
        start.RedirectStandardError = true;
        var process = new Process { StartInfo = start };
        process.OutputDataReceived += (sender, line) => WriteError(line.Data);
        process.ErrorDataReceived += (sender, line) => WriteError(line.Data);
        process.Start();
        process.BeginOutputReadLine();
        process.BeginErrorReadLine();
        return process;
    }

    static void WriteError(string line)
    {
        if (line != null)
            Console.Error.WriteLine(line);
    }

    // Yields each document of the stream as soon as it is complete.
    static IEnumerable<string> Documents(TextReader reader)
    {
        var document = new StringBuilder();
        string line;
        while ((line = reader.ReadLine()) != null)
        {
            document.Append(line).Append('\n');
            if (!line.EndsWith("</plist>", StringComparison.Ordinal))
                continue;
            yield return document.ToString();
            document.Clear();
        }
        if (document.Length > 0)
            WriteError("The last record is incomplete.");
    }

    // The document refers to a document type, which is neither refused nor fetched.
    static XmlDocument Parse(string document)
    {
        var settings = new XmlReaderSettings();
        settings.DtdProcessing = DtdProcessing.Ignore;
        settings.XmlResolver = null;
        var parsed = new XmlDocument();
        using (var reader = XmlReader.Create(new StringReader(document), settings))
            parsed.Load(reader);
        return parsed;
    }

    static int Run(string program, IEnumerable<string> arguments, Action<XmlDocument> handleRecord)
    {
        var name = "vandrel-records-" + Guid.NewGuid();
        using (var pipe = new NamedPipeServerStream(name, PipeDirection.In, 1))
        {
            Process process;
            using (var writer = OpenWriter(name))
            {
                pipe.WaitForConnection();
                process = Start(program, arguments, writer);
            }
            // From here on, only vandrel has the write end open; when it closes it, the stream ends.
            using (process)
            using (var reader = new StreamReader(pipe, new UTF8Encoding(false)))
            {
                foreach (var document in Documents(reader))
                    handleRecord(Parse(document));
                process.WaitForExit();
                return process.ExitCode;
            }
        }
    }

    static void Print(XmlDocument record)
    {
        var type = record.SelectSingleNode("/plist/dict/key[.='Type']/following-sibling::*[1]");
        var value = record.SelectSingleNode("/plist/dict/key[.='Value']/following-sibling::*[1]");
        Console.WriteLine(type.InnerText + " " + value.OuterXml);
    }

    static int Main(string[] words)
    {
        if (words.Length == 0)
        {
            Console.Error.WriteLine("usage: run_with_pipe VANDREL [ARGUMENTS]");
            return 64;
        }
        return Run(words[0], words.Skip(1), Print);
    }
}
