' A class of the host for Python: Python code makes instances of it, extends it by subclasses, and gets
' the host's errors as exceptions; the host gets those of Python.

' The host's own part of an account. To Python it is an object without any members.
Class AccountRecord
  Owner As String
  Balance As Integer ' cents

  Sub Constructor(owner As String)
    Self.Owner = owner
  End Sub
End Class

' The functions of a published class are functions of a module. All have the same form: the first
' parameter is always Nil, the second is the tuple of what Python passes.
Module Bank
  ' open_account(owner)
  Function OpenAccount(unused As Ptr, arguments As Ptr) As Ptr
    Var values As New PythonParameters(arguments)
    If Not values.IsString(0) Then Return Fail(PythonErrorTypes.TypeError, "the owner is a text")
    Var result As New PythonResult(New AccountRecord(values.StringValue(0)))
    Return result.GetPtr
  End Function

  ' Account.deposit(instance, record, cents). A method gets the Python instance as first argument.
  Function Deposit(unused As Ptr, arguments As Ptr) As Ptr
    Var values As New PythonParameters(arguments)
    Var account As AccountRecord = RecordIn(values)
    If account Is Nil Then Return Nil
    Var cents As Integer = AmountIn(values)
    If cents <= 0 Then Return Fail(PythonErrorTypes.ValueError, "only a positive amount can be deposited")
    account.Balance = account.Balance + cents
    Return None
  End Function

  ' Account.withdraw(instance, record, cents)
  Function Withdraw(unused As Ptr, arguments As Ptr) As Ptr
    Var values As New PythonParameters(arguments)
    Var account As AccountRecord = RecordIn(values)
    If account Is Nil Then Return Nil
    Var cents As Integer = AmountIn(values)
    If cents > account.Balance Then Return Fail(PythonErrorTypes.ValueError, "there is not that much")
    account.Balance = account.Balance - cents
    Return None
  End Function

  ' Account.balance(instance, record)
  Function BalanceOf(unused As Ptr, arguments As Ptr) As Ptr
    Var account As AccountRecord = RecordIn(New PythonParameters(arguments))
    If account Is Nil Then Return Nil
    Var result As New PythonResult(account.Balance)
    Return result.GetPtr
  End Function

  ' The record among the arguments. When there is none, an error is set and the result is Nil.
  Function RecordIn(values As PythonParameters) As AccountRecord
    Var given As Object = values.ObjectValue(1)
    If given Is Nil Or Not (given IsA AccountRecord) Then
      Call Fail(PythonErrorTypes.TypeError, "the record of an account is needed")
      Return Nil
    End If
    Return AccountRecord(given)
  End Function

  ' The amount among the arguments. Python 2 has two types of whole numbers: what it has calculated from
  ' a result of the host, here the interest, is a long, and is read as a 64-bit integer.
  Function AmountIn(values As PythonParameters) As Integer
    If values.IsBigInteger(2) Then Return values.Int64Value(2)
    Return values.IntegerValue(2)
  End Function

  ' Sets an error of Python. A function that returns Nil then raises it.
  Function Fail(errorType As Integer, message As String) As Ptr
    Quillix.SetError(errorType, message)
    Return Nil
  End Function

  ' Python's None, for a function that has nothing to say.
  Function None() As Ptr
    Var result As New PythonResult
    Return result.GetPtr
  End Function

  Sub Publish()
    Var account As New PythonXojoClass("Account", 3)
    account.RegisterFunction("deposit", AddressOf Deposit)
    account.RegisterFunction("withdraw", AddressOf Withdraw)
    account.RegisterFunction("balance", AddressOf BalanceOf)
    Var bank As New PythonXojoModule("bank", 1)
    bank.RegisterFunction("open_account", AddressOf OpenAccount)
    bank.AddClass(account)
    Quillix.RegisterXojoModule(bank)
  End Sub
End Module

Sub ShowOutput(sender As QuillixConsoleOutput, output As String)
  StdOut.Write(output)
End Sub

Sub TryToWithdraw(savings As PythonModule, cents As Integer)
  Var arguments As New PythonParameters(1)
  arguments.IntegerValue(0) = cents
  Var result As PythonResult = savings.GetFunction("try_to_withdraw").Invoke(arguments)
  If result Is Nil Then
    Print "Error in Python: " + Quillix.GetError
    Quillix.ClearError
  ElseIf result.IsString Then
    Print "Python refused: " + result.StringValue
  Else
    Print "withdrawn"
  End If
End Sub

If Not Quillix.PythonIsFound Then
  Print "This program needs Python 2.7."
  Return
End If
Quillix.Init("account")
Quillix.AddSearchPath(ScriptFolder)

Var console As New QuillixConsoleOutput
AddHandler console.ConsoleOutput, AddressOf ShowOutput
Quillix.SetConsoleOutput(console)

Bank.Publish ' before the import of what imports it
Var savings As PythonModule = Quillix.GetModule("savings")
If savings Is Nil Then
  Print "The module cannot be imported: " + Quillix.GetError
  Return
End If

Var result As PythonResult = savings.GetFunction("use").Invoke(Nil)
If result Is Nil Then
  Print "Error in Python: " + Quillix.GetError
  Return
End If
Var account As AccountRecord = AccountRecord(result.ObjectValue)
Print account.Owner + " has " + (account.Balance / 100).ToString("#,##0.00")

TryToWithdraw(savings, 400)
TryToWithdraw(savings, 600)

Quillix.Finalize
