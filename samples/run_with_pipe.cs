// Starts vandrel with a pipe, prints each record when it arrives, and judges the run by them:
//
//     run_with_pipe.exe C:\vandrel\vandrel.exe --restore iPhone.ipsw --ecid 0001A2B3C4D5E6F7
//     run_with_pipe.exe --records FILE
//
// The second form judges the records in a file. vandrel's other output goes to standard error. So do its exit status
// if that is not 0, the number of records that cannot be read, and the verdict. The exit status of run_with_pipe is
// the verdict's:
//
//     0   restored; for another command, and with --enter-restore-mode: done
//     1   failed
//     2   timed out
//     3   connection lost: the device was unplugged, or the cable is bad
//     4   not completed: vandrel ended, or the file ends, and no record says how the run went
//
// The exit status is 64 for wrong arguments. If run_with_pipe itself fails, it ends with an exception.

using System;
using System.Collections.Generic;
using System.ComponentModel;
using System.Diagnostics;
using System.Globalization;
using System.IO;
using System.IO.Pipes;
using System.Linq;
using System.Runtime.InteropServices;
using System.Text;
using System.Text.RegularExpressions;
using System.Xml;
using Microsoft.Win32.SafeHandles;

// Says how a run went. vandrel's exit status does not: it is 0 for a restore that has failed or timed out.
sealed class Judge
{
    // Of the findings of a run, the first in this order counts.
    enum Finding { Restored, DeviceFailed, TimedOut, ToolFailed, Done }

    // "Communication error, possibly USB disconnection"
    const int UsbDisconnection = 9;

    readonly bool entersRestoreMode;
    readonly SortedDictionary<Finding, KeyValuePair<int, string>> found =
        new SortedDictionary<Finding, KeyValuePair<int, string>>();
    string where = "";

    public Judge(bool entersRestoreMode)
    {
        this.entersRestoreMode = entersRestoreMode;
    }

    // The exit status and the words of the verdict.
    public KeyValuePair<int, string> Verdict()
    {
        return found.Count > 0
            ? found.First().Value
            : new KeyValuePair<int, string>(4, "not completed: the records end" + where);
    }

    public void Take(string type, XmlNode value)
    {
        if (type == "RestoreStatus")
            TakeReport(value);
        else if (type == "InternalError")
            TakeError(value);
        else if (type == "CommandSuccess" || type == "DeviceInfo" || type == "DeviceList")
            Note(Finding.Done, 0, "done");
    }

    void TakeReport(XmlNode report)
    {
        var operation = Record.At(report, "Operation");
        var progress = Record.At(report, "Progress");
        var error = Record.At(report, "Error");
        if (!IsNumber(operation, 0))
            where = " in " + Text(Record.At(report, "Orv_OperationName")) + " at " + Text(progress) + " %";
        var hasError = error != null && !IsInteger(error, 0);
        // An error in a report does not count if the device was restored.
        if (Text(Record.At(report, "Status")) == "Failed" || hasError)
        {
            var isLost = IsInteger(error, UsbDisconnection);
            Note(Finding.DeviceFailed, isLost ? 3 : 1,
                (isLost ? "connection lost: " : "failed: ") + ErrorWords(error) + where);
        }
        else if (IsNumber(operation, 0) && IsNumber(progress, 100))
            Note(Finding.Restored, 0, "restored");
        else if (IsNumber(operation, 9) && entersRestoreMode)
            Note(Finding.Done, 0, "done");
    }

    void TakeError(XmlNode error)
    {
        var reason = Text(Record.At(error, "FailureReason") ?? Record.At(error, "Description"));
        if (Text(Record.At(error, "Domain")) == "vandrel" && IsInteger(Record.At(error, "Code"), 7))
            Note(Finding.TimedOut, 2, "timed out: " + reason);
        else
            Note(Finding.ToolFailed, 1, "failed: " + ErrorWords(error) + ": " + reason);
    }

    void Note(Finding finding, int status, string words)
    {
        if (!found.ContainsKey(finding))
            found.Add(finding, new KeyValuePair<int, string>(status, words));
    }

    static string ErrorWords(XmlNode error)
    {
        if (error != null && error.Name == "integer")
            return "error " + error.InnerText;
        var code = Record.At(error, "Code");
        return code == null
            ? "unknown error"
            : "error " + code.InnerText + " (" + Text(Record.At(error, "Domain")) + ")";
    }

    static string Text(XmlNode value)
    {
        return value == null ? "" : value.InnerText;
    }

    static bool IsInteger(XmlNode value, int number)
    {
        return value != null && value.Name == "integer" && IsNumber(value, number);
    }

    // A whole number can be a real, such as 100.0.
    static bool IsNumber(XmlNode value, int number)
    {
        double found;
        return value != null && (value.Name == "integer" || value.Name == "real") &&
            double.TryParse(value.InnerText, NumberStyles.Float, CultureInfo.InvariantCulture, out found) &&
            found == number;
    }
}

// Takes records out of a stream.
static class Record
{
    // A document ends with </plist>. It also ends where the next one begins: vandrel cuts a record short at U+0000.
    static readonly Regex DocumentEnd = new Regex(@"\A.+?(?:</plist>|(?=<\?xml))", RegexOptions.Singleline);
    // XML forbids these characters, but texts of devices can have them.
    static readonly Regex Forbidden = new Regex(@"[\x00-\x08\x0B\x0C\x0E-\x1F\uFFFE\uFFFF]");

    // Yields each record of the stream as soon as it is complete. Counts those that cannot be read, and goes on.
    public static IEnumerable<XmlDocument> ReadAll(Stream stream)
    {
        var unreadable = 0;
        foreach (var document in Documents(stream))
        {
            var text = Forbidden.Replace(document, "").Trim();
            if (text.Length == 0)
                continue;
            var record = Read(text);
            if (record != null)
                yield return record;
            else
                Console.Error.WriteLine("unreadable records: " + ++unreadable);
        }
    }

    public static XmlNode TypeOf(XmlDocument record)
    {
        return At(record.SelectSingleNode("/plist/dict"), "Type");
    }

    public static XmlNode ValueOf(XmlDocument record)
    {
        return At(record.SelectSingleNode("/plist/dict"), "Value");
    }

    // The value of a dictionary's key; null without one.
    public static XmlNode At(XmlNode dictionary, string key)
    {
        return dictionary == null
            ? null
            : dictionary.SelectSingleNode("key[.='" + key + "']/following-sibling::*[1]");
    }

    // Yields each document as soon as it is complete, and what is left at the end.
    static IEnumerable<string> Documents(Stream stream)
    {
        var decoder = new UTF8Encoding(false).GetDecoder();
        var piece = new byte[65536];
        var characters = new char[piece.Length + 1];
        var text = "";
        int size;
        while ((size = stream.Read(piece, 0, piece.Length)) > 0)
        {
            text += new string(characters, 0, decoder.GetChars(piece, 0, size, characters, 0));
            for (var found = DocumentEnd.Match(text); found.Success; found = DocumentEnd.Match(text))
            {
                text = text.Substring(found.Length);
                yield return found.Value;
            }
        }
        yield return text;
    }

    // Null for a document that is no record. Its document type is neither refused nor fetched.
    static XmlDocument Read(string document)
    {
        var settings = new XmlReaderSettings();
        settings.DtdProcessing = DtdProcessing.Ignore;
        settings.XmlResolver = null;
        var record = new XmlDocument();
        try
        {
            using (var reader = XmlReader.Create(new StringReader(document), settings))
                record.Load(reader);
        }
        catch (XmlException)
        {
            return null;
        }
        var type = TypeOf(record);
        return type != null && type.Name == "string" && ValueOf(record) != null ? record : null;
    }
}

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

    // Returns vandrel's exit status.
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
            // From here on, only vandrel has the write end open. The stream ends when vandrel closes it.
            using (process)
            {
                foreach (var record in Record.ReadAll(pipe))
                    handleRecord(record);
                process.WaitForExit();
                return process.ExitCode;
            }
        }
    }

    static int Main(string[] words)
    {
        var isFile = words.Length > 0 && words[0] == "--records";
        if (words.Length == 0 || (isFile && words.Length != 2))
        {
            Console.Error.WriteLine("usage: run_with_pipe VANDREL [ARGUMENTS], or run_with_pipe --records FILE");
            return 64;
        }
        var judge = new Judge(words.Contains("--enter-restore-mode"));
        Action<XmlDocument> handleRecord = record =>
        {
            var type = Record.TypeOf(record).InnerText;
            var value = Record.ValueOf(record);
            Console.WriteLine(type + " " + value.OuterXml);
            judge.Take(type, value);
        };
        if (isFile)
        {
            using (var stream = File.OpenRead(words[1]))
                foreach (var record in Record.ReadAll(stream))
                    handleRecord(record);
        }
        else
        {
            var exitStatus = Run(words[0], words.Skip(1), handleRecord);
            if (exitStatus != 0)
                Console.Error.WriteLine("vandrel's exit status: " + exitStatus);
        }
        var verdict = judge.Verdict();
        Console.Error.WriteLine(verdict.Value);
        return verdict.Key;
    }
}
