' A progress bar: Python calls a function of the host while it works, and obeys its answer.

Var cancelAt As Integer = 101 ' percent

' A function that Python calls takes two pointers and gives one back. The first is always Nil. The
' second is the tuple of arguments, which PythonParameters opens.
Function Progress(unused As Ptr, arguments As Ptr) As Ptr
  Var values As New PythonParameters(arguments)
  Var done As Integer = values.IntegerValue(0)
  Var total As Integer = values.IntegerValue(1)

  ' LastError tells of a missing or wrong argument. Nil back to Python means an error there, which
  ' has to be set first.
  If values.LastError <> Quillix.PY_NO_ERROR Or total <= 0 Then
    Quillix.SetError(PythonErrorTypes.TypeError, "progress(done, total, text) takes two integers and a text")
    Return Nil
  End If

  Var percent As Integer = done * 100 \ total
  ShowBar(percent, values.StringValue(2))

  ' What goes back is the pointer of a PythonResult, which hands Python a reference of its own.
  Var answer As New PythonResult(percent < cancelAt)
  Return answer.GetPtr
End Function

Sub ShowBar(percent As Integer, message As String)
  Var bar As String
  For i As Integer = 1 To 20
    If i * 5 <= percent Then bar = bar + "#" Else bar = bar + "."
  Next
  Print "[" + bar + "] " + percent.ToString + " % " + message
End Sub

Sub Count(primes As PythonModule, limit As Integer, stepSize As Integer)
  Var arguments As New PythonParameters(2)
  arguments.IntegerValue(0) = limit
  arguments.IntegerValue(1) = stepSize
  Var result As PythonResult = primes.GetFunction("count_primes").Invoke(arguments)
  If result Is Nil Then
    Print "Error in Python: " + Quillix.GetError
    Quillix.ClearError
    Return
  End If
  Var answer As PythonParameters = result.TupleValue
  Var number As String = answer.IntegerValue(0).ToString("#,##0")
  If answer.BooleanValue(1) Then
    Print number + " primes below " + limit.ToString("#,##0")
  Else
    Print "cancelled at " + number
  End If
End Sub

If Not Quillix.PythonIsFound Then
  Print "This program needs Python 2.7."
  Return
End If
Quillix.Init("progress")
Quillix.AddSearchPath(ScriptFolder)

' A module with room for one function, known to Python as ui.progress.
Var ui As New PythonXojoModule("ui", 1)
ui.RegisterFunction("progress", AddressOf Progress)
Quillix.RegisterXojoModule(ui)

Var primes As PythonModule = Quillix.GetModule("primes")
If primes Is Nil Then
  Print "The module cannot be imported: " + Quillix.GetError
  Return
End If

Count(primes, 100000, 20000)

' As if somebody had pressed Cancel half-way.
cancelAt = 50
Count(primes, 60000, 10000)

' What Python code gets that calls the function wrong, and does not catch the error.
If primes.GetFunction("call_it_wrong").Invoke(Nil) Is Nil Then
  Print "Error in Python: " + Quillix.GetError
  Quillix.ClearError
End If

Quillix.Finalize
