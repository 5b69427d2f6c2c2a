#tag Class
Protected Class App
Inherits ConsoleApplication
	#tag Note, Name = About
		A progress bar: Python calls a function of the host while it works, and obeys its answer.
	#tag EndNote


	#tag Event
		Function Run(args() as String) As Integer
		  If Not Quillix.PythonIsFound Then
		    Print "This program needs Python 2.7."
		    Return 1
		  End If
		  Quillix.Init("progress")
		  Quillix.AddSearchPath(SpecialFolder.Resources)

		  ' A module with room for one function, known to Python as ui.progress.
		  Var ui As New PythonXojoModule("ui", 1)
		  ui.RegisterFunction("progress", AddressOf Display.Progress)
		  Quillix.RegisterXojoModule(ui)

		  Var primes As PythonModule = Quillix.GetModule("primes")
		  If primes Is Nil Then
		    Print "The module cannot be imported: " + Quillix.GetError
		    Return 1
		  End If

		  Count(primes, 100000, 20000)

		  ' As if somebody had pressed Cancel half-way.
		  Display.CancelAt = 50
		  Count(primes, 60000, 10000)

		  ' What Python code gets that calls the function wrong, and does not catch the error.
		  If primes.GetFunction("call_it_wrong").Invoke(Nil) Is Nil Then
		    Print "Error in Python: " + Quillix.GetError
		    Quillix.ClearError
		  End If

		  Quillix.Finalize
		  Return 0
		End Function
	#tag EndEvent


	#tag Method, Flags = &h21
		Private Sub Count(primes As PythonModule, limit As Integer, stepSize As Integer)
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
	#tag EndMethod


	#tag ViewBehavior
	#tag EndViewBehavior
End Class
#tag EndClass
