#tag Class
Protected Class App
Inherits ConsoleApplication
	#tag Note, Name = About
		A class of the host for Python: Python code makes instances of it, extends it by subclasses, and gets
		the host's errors as exceptions; the host gets those of Python.
	#tag EndNote


	#tag Event
		Function Run(args() as String) As Integer
		  If Not Quillix.PythonIsFound Then
		    Print "This program needs Python 2.7."
		    Return 1
		  End If
		  Quillix.Init("account")
		  Quillix.AddSearchPath(SpecialFolder.Resources)

		  Var console As New QuillixConsoleOutput
		  AddHandler console.ConsoleOutput, AddressOf ShowOutput
		  Quillix.SetConsoleOutput(console)

		  Bank.Publish ' before the import of what imports it
		  Var savings As PythonModule = Quillix.GetModule("savings")
		  If savings Is Nil Then
		    Print "The module cannot be imported: " + Quillix.GetError
		    Return 1
		  End If

		  Var result As PythonResult = savings.GetFunction("use").Invoke(Nil)
		  If result Is Nil Then
		    Print "Error in Python: " + Quillix.GetError
		    Return 1
		  End If
		  Var account As AccountRecord = AccountRecord(result.ObjectValue)
		  Print account.Owner + " has " + (account.Balance / 100).ToString("#,##0.00")

		  TryToWithdraw(savings, 400)
		  TryToWithdraw(savings, 600)

		  Quillix.Finalize
		  Return 0
		End Function
	#tag EndEvent


	#tag Method, Flags = &h21
		Private Sub ShowOutput(sender As QuillixConsoleOutput, output As String)
		  StdOut.Write(output)
		End Sub
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Sub TryToWithdraw(savings As PythonModule, cents As Integer)
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
	#tag EndMethod


	#tag ViewBehavior
	#tag EndViewBehavior
End Class
#tag EndClass
